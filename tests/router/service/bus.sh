# No bus: the service tries five times, says so, and takes the rules up as soon as there is one.

install_packages
count_runs
queue 1
/etc/init.d/rpcd stop
# Nobody waits here; the bus may come meanwhile.
replace /usr/bin/sleep << 'END'
echo "$1" >> /var/run/sleeps
if [ -e /var/run/stop_comes ]; then /etc/init.d/firewall_cpp stop; fi
if [ "$1" = "$(cat /var/run/bus_comes 2> /dev/null)" ]; then /etc/init.d/rpcd start; fi
END
noted() { log | sed -n -e 's/terminate called.*/(the runtime)/' -e 's/^daemon\.//p'; }
try='err firewall_cpp: (the runtime)
err firewall_cpp:   what():  Ubus: Failed to connect to ubusd.'
again='warn firewall_cpp: no configuration from the bus: trying again in'

check 'start without a bus' 134 "$(status_of service start)"
check 'runs' 5 "$(runs)"
check 'pauses' '1 2 3 4 ' "$(tr '\n' ' ' < /var/run/sleeps)"
check 'the log' "$try
$again 1 s
$try
$again 2 s
$try
$again 3 s
$try
$again 4 s
$try
err firewall_cpp: no configuration from the bus in 5 tries: gave up" "$(noted)"
check 'the tables' "$(foreign_tables)" "$(tables)"

# A stop meanwhile: then there is nothing more to try.
touch /var/run/stop_comes
check 'start that is stopped' 134 "$(status_of service start)"
check 'runs' 1 "$(runs)"
check 'the log' "$try
$again 1 s" "$(noted)"
rm /var/run/stop_comes

# At boot the bus is late.
/etc/init.d/rpcd disable
echo 2 > /var/run/bus_comes
boot
check 'runs until the bus is there' 3 "$(runs)"
check 'the log' "$try
$again 1 s
$try
$again 2 s" "$(noted)"
check 'the rules' '1 ' "$(queues)"

# The bus is there, and the package is not yet: as when rpcd starts late.
rm /etc/config/firewall_cpp /var/run/bus_comes
check 'start after an earlier run' 134 "$(status_of service start)"
check 'runs' 5 "$(runs)"
check 'the reason' 'err firewall_cpp:   what():  Ubus: Not found' "$(noted | sed -n 2p)"
check 'the rules stay' '1 ' "$(queues)"
