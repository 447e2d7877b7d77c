# Sourced by each scenario, with the root of the sources as $1. A scenario ends at the first check that
# fails.
# shellcheck shell=sh
service() { /etc/init.d/firewall_cpp "$1"; }

# check WHAT EXPECTED FOUND
check() {
  [ "$2" != "$3" ] || return 0
  printf 'FAILED: %s\nexpected:\n%s\nfound:\n%s\n' "$1" "$2" "$3"
  if [ -e /var/run/log ]; then printf 'the log:\n%s\n' "$(cat /var/run/log)"; fi
  exit 1
}

# status_of COMMAND...: how it ends. Its output goes where the output of the scenario goes.
status_of() {
  if "$@" >&2; then echo 0; else echo $?; fi
}

# The six tables without what differs from save to save.
tables() {
  for tool in iptables ip6tables; do
    for table in mangle nat filter; do $tool-save -t $table; done
  done | plain
}
foreign_tables() {
  for tool in iptables ip6tables; do
    for table in mangle nat filter; do cat /usr/share/firewall/$tool.$table; done
  done | plain
}
plain() { sed -e '/^#/d' -e 's/ \[[0-9]*:[0-9]*\]$//'; }
generated() { tables | grep '^-A' | grep -c ipt_compiler || :; }
others() { tables | grep '^-A' | grep -vc ipt_compiler || :; }

# A configuration of one queue, whose rules are in the mangle tables. And the queues of the tables.
queue() {
  cat > /etc/config/firewall_cpp << END
config nfnlq 'nfnlq'
	option queue_first '$1'
	option queue_last '$1'
	list matches '-p udp -m udp --dport 53'
END
}
queues() { tables | sed -n 's/.*--queue-num \([0-9]*\).*/\1/p' | sort -u | tr '\n' ' '; }

# The lines of the log since the last call.
log() {
  touch /var/run/log
  cat /var/run/log
  : > /var/run/log
}

# Has the runs of the program counted, and the runs since the last call.
count_runs() {
  mv /usr/sbin/firewall_cpp /usr/sbin/firewall_cpp.counted
  cat > /usr/sbin/firewall_cpp << 'END'
#!/bin/sh
echo >> /var/run/runs
exec /usr/sbin/firewall_cpp.counted
END
  chmod +x /usr/sbin/firewall_cpp
}
runs() {
  touch /var/run/runs
  wc -l < /var/run/runs
  : > /var/run/runs
}

# replace TOOL: a script, from standard input, takes the place of a tool, which it finds as $real.
replace() {
  mv "/usr/sbin/$1" "/usr/sbin/$1.real"
  (printf '#!/bin/sh\nreal=/usr/sbin/.real/%s\n' "$1" && cat) > "/usr/sbin/$1"
  mkdir -p /usr/sbin/.real
  mv "/usr/sbin/$1.real" "/usr/sbin/.real/$1"
  chmod +x "/usr/sbin/$1"
}

# A router with the packages, the bus and the firewall, and nothing configured.
install_packages() {
  /etc/init.d/rpcd start
  /etc/init.d/firewall start
  opkg install libxtlock-intercept firewall_cpp
  reload_config
}
