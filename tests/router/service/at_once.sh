# Two at once: each has its turn, the tables are whole, and what came last holds.

install_with_rules
once=$(tables)

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
replace /usr/sbin/firewall_cpp << 'END'
if [ -e /var/run/hold ]; then
  rm /var/run/hold
  read -r _ < /var/run/go
fi
exec $real
END
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
replace /usr/bin/flock << 'END'
if [ "$1" = 8 ] && ! $real -n 8; then rm -f /var/run/free; fi
if [ "$1" = 9 ] && [ -e /var/run/start_comes ]; then
  rm /var/run/start_comes
  /etc/init.d/firewall_cpp start
fi
exec $real "$@"
END

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
