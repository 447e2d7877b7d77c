# What stop takes out and what it leaves, also when a tool fails.

install_packages
example() {
  cp /usr/share/firewall_cpp/example /etc/config/firewall_cpp
  service start
}
example
check 'rules in each table' '6' \
  "$(for tool in iptables ip6tables; do for t in mangle nat filter; do $tool-save -t $t | grep -c '^-A.*ipt_compiler'; done; done | grep -vcx 0)"

# Counters of other programs' rules, which a stop keeps.
for tool in iptables ip6tables; do
  $tool-save -c -t filter | sed 's/^\[0:0\]/[12:345]/' | $tool-restore -c
done
counted() { iptables-save -c -t filter; ip6tables-save -c -t filter; }
expected=$(counted | grep -v -e '^#' -e ipt_compiler)
check 'stop' 0 "$(status_of service stop)"
check 'every other rule is there' "$(foreign_tables)" "$(tables)"
check 'with its counters' "$expected" "$(counted | grep -v '^#')"
check 'a second stop' 0 "$(status_of service stop)"
check 'nothing to tell' '' "$(log)"
/etc/init.d/firewall restart
check 'stopped is stopped, also after the firewall' 0 "$(generated)"

# The tools note when nobody has the lock.
for tool in iptables-save ip6tables-save iptables-restore ip6tables-restore; do
  replace /usr/sbin/$tool << 'END'
LD_PRELOAD='' flock -n /var/run/xtables.lock true && echo "$0 without the lock" >> /var/run/unlocked
exec "$real" "$@"
END
done
example
rm -f /var/run/unlocked
service stop
check 'no tool runs without the lock' '' "$(cat /var/run/unlocked 2> /dev/null)"
check 'every other rule is there' "$(foreign_tables)" "$(tables)"

# fault TOOL FAULT LOG: stop fails for iptables nat and does the rest.
fault() {
  example
  nat=$(iptables-save -t nat | plain)
  rest=$(foreign_tables | sed '/^\*nat/,/^COMMIT/d')
  replace "/usr/sbin/$1" << END
$2
END
  check "stop with $2" 1 "$(status_of service stop)"
  put_back "/usr/sbin/$1"
  check "the log of $2" "$3" "$(log)"
  check "nat after $2" "$nat" "$(iptables-save -t nat | plain)"
  check "the rest after $2" "$rest" \
    "$( (iptables-save -t mangle; iptables-save -t filter; ip6tables-save -t mangle; ip6tables-save -t filter) | plain)"
  check "no rules in ip6tables nat after $2" 0 "$(ip6tables-save -t nat | grep -c ipt_compiler || :)"
  check "a stop after $2" 0 "$(status_of service stop)"
  check 'every other rule is there' "$(foreign_tables)" "$(tables)"
}
fault iptables-save 'case $* in *nat*) echo no table >&2; exit 3 ;; esac; exec $real "$@"' \
  'daemon.err firewall_cpp: no table'
fault iptables-save 'case $* in *nat*) exit 0 ;; esac; exec $real "$@"' \
  'daemon.err firewall_cpp: iptables-save -t nat has not printed a whole table'
fault iptables-save 'case $* in *nat*) $real "$@" | head -n 9; exit 0 ;; esac; exec $real "$@"' \
  'daemon.err firewall_cpp: iptables-save -t nat has not printed a whole table'
fault iptables-restore 'text=$(cat); case $text in *\*nat*) echo refused >&2; exit 1 ;; esac
  echo "$text" | $real "$@"' 'daemon.err firewall_cpp: refused'
