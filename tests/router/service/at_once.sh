# Two at once: each has its turn, the tables are whole, and what came last holds.
# shellcheck source=tests/router/service/common.sh
. "$1/tests/router/service/common.sh"

install_packages
count_runs
queue 1
reload_config
once=$(tables)
runs > /var/run/shown

service start &
first=$!
service start &
second=$!
wait $first || check 'the first' 0 $?
wait $second || check 'the second' 0 $?
check 'runs' 2 "$(runs)"
check 'the tables' "$once" "$(tables)"

service stop &
first=$!
service start &
wait $first
wait $!
if [ -e /var/run/firewall_cpp.started ]; then expected=$once; else expected=$(foreign_tables); fi
check 'the tables after a stop beside a start' "$expected" "$(tables)"
runs > /var/run/shown

# until_gone FILE PROCESS: waits until the process has removed the file.
until_gone() {
  while [ -e "$1" ]; do
    kill -0 "$2" 2> /dev/null || check "a process before it removes $1" 'goes on' 'has ended'
  done
}
# begin: a reload, $begun, whose run of the program waits for go_on.
mkfifo /var/run/go
mv /usr/sbin/firewall_cpp /usr/sbin/firewall_cpp.begun
cat > /usr/sbin/firewall_cpp << 'END'
#!/bin/sh
if [ -e /var/run/hold ]; then
  rm /var/run/hold
  read -r _ < /var/run/go
fi
exec /usr/sbin/firewall_cpp.begun
END
chmod +x /usr/sbin/firewall_cpp
begin() {
  touch /var/run/hold /var/run/free
  service reload &
  begun=$!
  until_gone /var/run/hold $begun
}
go_on() {
  echo > /var/run/go
  wait $begun || check 'the run that waited' 0 $?
}
# The turn of a run is a lock on descriptor 8, the tables' lock of a stop one on 9.
flock=$(realpath /usr/bin/flock)
rm /usr/bin/flock
cat > /usr/bin/flock << END
#!/bin/sh
if [ "\$1" = 8 ] && ! $flock -n 8; then rm -f /var/run/free; fi
if [ "\$1" = 9 ] && [ -e /var/run/start_comes ]; then
  rm /var/run/start_comes
  /etc/init.d/firewall_cpp start
fi
exec $flock "\$@"
END
chmod +x /usr/bin/flock

# The first run may have read a configuration that is old by now.
begin
queue 2
service reload &
second=$!
until_gone /var/run/free $second
go_on
wait $second || check 'the second reload' 0 $?
check 'runs' 2 "$(runs)"
check 'the rules of the later reload' '2 ' "$(queues)"

begin
/etc/init.d/firewall restart &
second=$!
until_gone /var/run/free $second
check 'the firewall has taken the rules out' "$(foreign_tables)" "$(tables)"
go_on
wait $second || check 'a restart of the firewall during a run' 0 $?
check 'the rules after a restart of the firewall during a run' '2 ' "$(queues)"

begin
check 'a stop during a run' 0 "$(status_of service stop)"
check 'its tables' "$(foreign_tables)" "$(tables)"
go_on
check 'the run does not undo it' "$(foreign_tables)" "$(tables)"

begin
service stop
service start &
second=$!
until_gone /var/run/free $second
go_on
wait $second || check 'a start after a stop during a run' 0 $?
check 'the rules after it' '2 ' "$(queues)"

touch /var/run/start_comes
check 'a stop that a start overtakes' 0 "$(status_of service stop)"
check 'the rules of that start' '2 ' "$(queues)"
check 'nothing to tell' '' "$(log)"
