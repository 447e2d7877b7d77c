# What the scenarios share; the last line takes up the one that $1 names. It ends at the first check
# that fails. $2 is the kind of the tools.
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

# replace FILE: a script, from standard input, takes the place of a program, which it finds as $real.
replace() {
  real=$(mktemp -d /var/run/XXXXXX)/${1##*/}
  mv "$1" "$real"
  (printf '#!/bin/sh\nreal=%s\n' "$real" && cat) > "$1"
  chmod +x "$1"
}
# put_back FILE: the program that was replaced last.
put_back() { mv "$real" "$1"; }

# Has the runs of the program counted, and the runs since the last call.
count_runs() {
  replace /usr/sbin/firewall_cpp << 'END'
echo >> /var/run/runs
exec $real
END
}
runs() {
  touch /var/run/runs
  wc -l < /var/run/runs
  : > /var/run/runs
}

# A router with the packages, the bus and the firewall, and nothing configured.
install_packages() {
  /etc/init.d/rpcd start
  /etc/init.d/firewall start
  opkg install libxtlock-intercept firewall_cpp
  reload_config
}
# The same with the rules of one queue, and runs are counted from then on.
install_with_rules() {
  install_packages
  queue 1
  reload_config
  count_runs
}

. "$(dirname "$0")/$1.sh"
