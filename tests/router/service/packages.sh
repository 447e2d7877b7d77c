# Installation over a configuration, into an image, upgrade and removal.

registered() { grep -c "^config include 'firewall_cpp'" /etc/config/firewall || :; }
# files PACKAGE...: those that are there.
files() {
  for package; do
    (cd "$PACKAGES/$package/root" && find . ! -type d) | while read -r file; do
      if [ -e "/${file#./}" ]; then echo "/${file#./}"; fi
    done
  done | sort
}
before=$(cat /etc/config/firewall)

# Over a configuration of the owner's: it stays, and counts at once.
queue 7
mine=$(cat /etc/config/firewall_cpp)
install_packages
check 'the owner'"'"'s configuration' "$mine" "$(cat /etc/config/firewall_cpp)"
check 'its rules' '7 ' "$(queues)"
check 'one include more' "$before

config include 'firewall_cpp'
	option type 'script'
	option path '/usr/share/firewall_cpp/firewall.include'
	option reload '1'
	option fw4_compatible '1'" "$(cat /etc/config/firewall)"
check 'the script that adds it is gone' '' "$(ls /etc/uci-defaults)"
check 'the service is enabled' '/etc/rc.d/K95firewall_cpp /etc/rc.d/S21firewall_cpp ' \
  "$(echo /etc/rc.d/*firewall_cpp | tr '\n' ' ')"

# An upgrade keeps both, and the owner's changes of the include.
uci set firewall.firewall_cpp.enabled=1
uci commit firewall
opkg upgrade firewall_cpp
check 'the configuration after an upgrade' "$mine" "$(cat /etc/config/firewall_cpp)"
check 'the include after an upgrade' 1 "$(registered)"
check 'with its change' 1 "$(grep -c "enabled '1'" /etc/config/firewall)"
check 'the rules after an upgrade' '7 ' "$(queues)"

# Removal takes rules, include and files; a configuration that is the owner's stays.
opkg remove firewall_cpp libxtlock-intercept
check 'the tables' "$(foreign_tables)" "$(tables)"
check 'the firewall'"'"'s configuration' "$before" "$(cat /etc/config/firewall)"
check 'files' /etc/config/firewall_cpp "$(files firewall_cpp libxtlock-intercept)"
check 'links' '' "$(find /etc/rc.d -name '*firewall_cpp')"
check 'a mark of the service' '' "$(find /var/run/ -maxdepth 1 -name 'firewall_cpp*')"
/etc/init.d/firewall reload
check 'the firewall goes on alone' "$(foreign_tables)" "$(tables)"
rm /etc/config/firewall_cpp

# A configuration that nobody has touched goes.
opkg install libxtlock-intercept firewall_cpp
opkg remove firewall_cpp libxtlock-intercept
check 'files' '' "$(files firewall_cpp libxtlock-intercept)"

# Into an image on the build host: files and links, and nothing runs. The first boot does the rest.
IPKG_INSTROOT=/machine/run/image opkg install libxtlock-intercept firewall_cpp
check 'the build host adds no include' "$before" "$(cat /etc/config/firewall)"
check 'the build host starts nothing' '' "$(find /var/run/ -maxdepth 1 -name 'firewall_cpp*')"
check 'the script waits for the first boot' firewall_cpp "$(ls /etc/uci-defaults)"
check 'files' "$(sort /usr/lib/opkg/libxtlock-intercept.list /usr/lib/opkg/firewall_cpp.list)" \
  "$(files firewall_cpp libxtlock-intercept)"
queue 8
boot
check 'the include after the first boot' 1 "$(registered)"
check 'the script is gone' '' "$(ls /etc/uci-defaults)"
check 'the rules after the first boot' '8 ' "$(queues)"
IPKG_INSTROOT=/machine/run/image sh /usr/lib/opkg/firewall_cpp/prerm
check 'removal on the build host runs nothing' '1 8 ' "$(registered) $(queues)"

# Doing it twice, as after a flash that keeps the configuration, changes nothing, nor what the owner has
# changed; without a firewall package it is tried again at the next boot.
defaults=$PACKAGES/firewall_cpp/root/etc/uci-defaults/firewall_cpp
uci set firewall.firewall_cpp.enabled=0
uci commit firewall
config=$(sort /etc/config/firewall)
sh "$defaults"
check 'a second registration' "$config" "$(sort /etc/config/firewall)"
mv /etc/config/firewall /var/run/firewall.away
check 'no firewall package' 1 "$(sh "$defaults" 2> /dev/null || echo 1)"
check 'nothing to tell' '' "$(log)"
