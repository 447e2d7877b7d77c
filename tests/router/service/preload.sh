# Without a working preload library a run would wait for its own lock, for ever. The service says what
# is wrong and ends. The tools of nft need no library.

library=/usr/lib/libxtlock_intercept.so
install_with_rules
check 'with the library' '1 ' "$(queues)"
queue 2

refused() {
  before=$(tables)
  for action in start reload stop; do
    check "$action $1" 1 "$(status_of timeout 60 /etc/init.d/firewall_cpp "$action")"
    check 'the reason' \
      "daemon.err firewall_cpp: nothing is done: iptables-restore fails while the tables' lock is held; is $library there?" \
      "$(log | tail -n 1)"
  done
  check 'the program has not run' 0 "$(runs)"
  check 'the tables are as before' "$before" "$(tables)"
}

mv $library /var/run/library
if [ "$2" = nft ]; then
  check 'start without the library' 0 "$(status_of service start)"
  check 'the rules' '2 ' "$(queues)"
  check 'stop without the library' 0 "$(status_of service stop)"
  check 'the tables' "$(foreign_tables)" "$(tables)"
  exit
fi
refused 'without the library'
# A library that is none, as of another architecture.
echo none > $library
refused 'with a broken library'
rm $library
# A run by hand has got stuck with the lock.
mkfifo /var/run/end
flock /var/run/xtables.lock sh -c 'echo > /var/run/held; read -r _ < /var/run/end' &
until [ -e /var/run/held ]; do :; done
refused 'beside a run that is stuck'
echo > /var/run/end
wait
check 'the lock is free' 0 "$(status_of flock -n /var/run/xtables.lock true)"

mv /var/run/library $library
check 'start, with the library again' 0 "$(status_of service start)"
check 'the rules' '2 ' "$(queues)"
