# A changed configuration, a broken one and an emptied one.

install_packages
count_runs
queue 1
check 'a change reloads' 0 "$(status_of reload_config)"
check 'the new rules' '1 ' "$(queues)"
check 'by one run' 1 "$(runs)"
check 'nothing to tell' '' "$(log)"

reload_config
uci set firewall.firewall_cpp.enabled=1
uci commit firewall
reload_config
check 'no run without a change of the package' 0 "$(runs)"

queue none
before=$(tables)
check 'the status is the program'"'"'s' 134 "$(status_of reload_config)"
check 'one run: a failure is no reason to stop and start' 1 "$(runs)"
check 'the rules before still hold' "$before" "$(tables)"
check 'the log has the whole story' "daemon.err firewall_cpp: iptables-restore v: NFQUEUE: bad value for option \"--queue-num\", or out of range (0-65535).
daemon.err firewall_cpp: Error occurred at line: N
daemon.err firewall_cpp: Try \`iptables-restore -h' or 'iptables-restore --help' for more information.
daemon.err firewall_cpp: terminate called after throwing an instance of 'std::runtime_error'
daemon.err firewall_cpp:   what():  failed to commit" \
  "$(log | sed -e 's/ v[0-9.]* ([a-z]*):/ v:/' -e 's/line: [0-9]*/line: N/' -e '/: $/d')"
check 'start ends with the same status' 134 "$(status_of service start)"
log > /var/run/shown

queue 2
check 'start also makes good' 0 "$(status_of service start)"
check 'the new rules' '2 ' "$(queues)"
queue 3
check 'and restart' 0 "$(status_of service restart)"
check 'the new rules' '3 ' "$(queues)"
runs > /var/run/shown

printf '# nothing\n' > /etc/config/firewall_cpp
check 'an emptied configuration reloads' 0 "$(status_of reload_config)"
check 'one run' 1 "$(runs)"
check 'which has taken the rules out' "$(foreign_tables)" "$(tables)"
/etc/init.d/firewall reload
check 'from then on nothing runs' 0 "$(runs)"

# The same by hand, without reload_config.
queue 4
service start
: > /etc/config/firewall_cpp
service start
check 'start takes out what a run has left' "$(foreign_tables)" "$(tables)"
check 'nothing to tell' '' "$(log)"
