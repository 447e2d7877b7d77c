# The service at boot: after the firewall, once, and not at all without a configuration.
# shellcheck source=tests/router/service/common.sh
. "$1/tests/router/service/common.sh"

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

  : > /etc/config/firewall_cpp
done

queue 1
service disable
boot
/etc/init.d/firewall reload
check 'a disabled service does nothing' 0 "$(runs)"
check 'nothing to tell' '' "$(log)"
