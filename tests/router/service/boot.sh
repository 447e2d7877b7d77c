# The service at boot and with the firewall, of both generations: a run after each start and reload,
# nobody waits for the other's lock, and nothing runs without a configuration.

install_packages
count_runs
echo 'echo >> /var/run/included' > /etc/firewall.user
check 'order' 'S12rpcd S19firewall S20network S21firewall_cpp ' "$(cd /etc/rc.d && echo S* | tr '\n' ' ')"

for generation in iptables nft; do
  echo $generation > /etc/firewall_generation

  boot
  check 'nothing runs without a configuration' 0 "$(runs)"
  /etc/init.d/firewall restart
  /etc/init.d/firewall reload
  check 'nor after the firewall' 0 "$(runs)"
  check 'no table was touched' no "$([ -e /tmp/ipt_compiler_out ] && echo yes || echo no)"

  queue 1
  : > /var/run/included
  boot
  check 'the firewall ran its includes' 1 "$(wc -l < /var/run/included)"
  check 'one run' 1 "$(runs)"
  check 'its rules are there' '1 ' "$(queues)"
  for action in restart reload start; do
    check "$generation: $action" 0 "$(status_of /etc/init.d/firewall $action)"
    check "$generation: rules after $action" '1 ' "$(queues)"
    check "$generation: one run" 1 "$(runs)"
    check "$generation: the firewall's lock is free" 0 "$(status_of flock -n /var/run/firewall.lock true)"
  done

  : > /etc/config/firewall_cpp
done
check 'nothing to tell' '' "$(log)"

# A run that fails is not the firewall's fault, and its own rules stand.
queue none
check 'the firewall after a failing run' 0 "$(status_of /etc/init.d/firewall reload)"
check 'its rules' "$(foreign_tables)" "$(tables)"
check 'what the log says' 'daemon.err firewall_cpp:   what():  failed to commit' "$(log | tail -n 1)"
runs > /var/run/shown

queue 1
service disable
boot
/etc/init.d/firewall reload
check 'a disabled service does nothing' 0 "$(runs)"
check 'nothing to tell' '' "$(log)"
