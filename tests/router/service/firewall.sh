# The firewall and the service, for both generations: rules after each start and reload, and nobody
# waits for the other's lock.
# shellcheck source=tests/router/service/common.sh
. "$1/tests/router/service/common.sh"

install_packages
count_runs
queue 1
reload_config
runs > /var/run/shown
for generation in iptables nft; do
  echo $generation > /etc/firewall_generation
  for action in restart reload start; do
    check "$generation: $action" 0 "$(status_of /etc/init.d/firewall $action)"
    check "$generation: rules after $action" '1 ' "$(queues)"
    check "$generation: one run" 1 "$(runs)"
    check "$generation: the firewall's lock is free" 0 "$(status_of flock -n /var/run/firewall.lock true)"
  done
done
check 'nothing to tell' '' "$(log)"

# A run that fails is not the firewall's fault, and its own rules stand.
queue none
check 'the firewall after a failing run' 0 "$(status_of /etc/init.d/firewall reload)"
check 'its rules' "$(foreign_tables)" "$(tables)"
check 'what the log says' 'daemon.err firewall_cpp:   what():  failed to commit' "$(log | tail -n 1)"
