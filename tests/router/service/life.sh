# A whole life of the packages on a router. What it prints stands in docs/router.md.

# step COMMAND: shows the command, how it ends, what it has written to the log, and the rules after it.
step() {
  echo "# $1"
  status=$(status_of sh -c "$1")
  if [ "$status" -ne 0 ]; then echo "exit status $status"; fi
  log | sed -e 's/ v[0-9.]* ([a-z]*)//' -e '/: $/d'
  printf '    rules: %d generated, %d of others; the program ran: %s\n' \
    "$(generated)" "$(others)" "$(runs)"
}

/etc/init.d/rpcd start
/etc/init.d/firewall start
step 'opkg install libxtlock-intercept firewall_cpp'
count_runs
step 'boot'
step 'cp /usr/share/firewall_cpp/example /etc/config/firewall_cpp; reload_config'
step "sed -i \"/user_list '3'/d\" /etc/config/firewall_cpp; reload_config"
step "sed -i \"/queue_last/s/'1'/'x'/\" /etc/config/firewall_cpp; reload_config"
step "sed -i \"/queue_last/s/'x'/'1'/\" /etc/config/firewall_cpp; reload_config"
step '/etc/init.d/firewall reload'
step '/etc/init.d/firewall restart'
step 'boot'
step '/etc/init.d/firewall_cpp stop'
step '/etc/init.d/firewall restart'
step '/etc/init.d/firewall_cpp start'
put_back /usr/sbin/firewall_cpp
step 'opkg remove firewall_cpp libxtlock-intercept'
