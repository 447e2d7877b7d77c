#!/bin/bash
# What ./demo runs inside the testbed: foreign rules first, then the program twice.
#
# Usage: demo_run.sh BUILD-DIRECTORY UCI-FILE, from the root of the repository.
set -euo pipefail
build=$1
config=$2

families=(iptables ip6tables)
tables=(mangle nat filter)
declare -A family_titles=([iptables]=IPv4 [ip6tables]=IPv6)
colours=()
if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then colours=(-v colours=1); fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# save_all DIRECTORY: one file per table, without the parts that differ from one save to the next.
save_all() {
  local family table
  mkdir "$1"
  for family in "${families[@]}"; do
    for table in "${tables[@]}"; do
      "$family-save" -t "$table" | sed -e '/^#/d' -e 's/ \[[0-9]*:[0-9]*\]$//' \
        > "$1/$family.$table"
    done
  done
}

run_program() {
  local status=0
  "$build/bin/firewall_cpp" || status=$?
  if [ "$status" -ne 0 ]; then
    echo "demo: firewall_cpp failed with exit status $status" >&2
    exit 1
  fi
}

for family in "${families[@]}"; do
  for table in "${tables[@]}"; do
    "$family-restore" < "examples/foreign_rules/$family.$table"
  done
done

echo "Running firewall_cpp on $config"
run_program
save_all "$work/first"
echo
echo "The tables now. Rules with + are generated; the others are of other programs and were there"
echo "before. The rules of a chain are indented under the first rule that leads to it."
for family in "${families[@]}"; do
  for table in "${tables[@]}"; do
    echo
    awk -v title="${family_titles[$family]} $table" "${colours[@]}" -f tools/show_tables.awk \
      "$work/first/$family.$table"
  done
done

echo
run_program
save_all "$work/second"
if ! diff -ru "$work/first" "$work/second"; then
  echo "Second run: the tables changed, as shown above." >&2
  exit 1
fi
echo "Second run: no change"
# The nft tools do not list the rules that a text has.
if [ "$TESTBED_TABLES_KIND" != nft ]; then
  echo
  echo "What a third run would change, as firewall_cpp-inspect diff shows it:"
  "$build/bin/firewall_cpp-inspect" diff
  [ -t 1 ] || echo "(nothing)"
fi
echo
echo "What becomes of a forwarded TCP packet whose connection has label 2, class 7 and subclass 73:"
"$build/bin/firewall_cpp-inspect" explain --family=ipv4 filter FORWARD proto=tcp label=2 class=7 subclass=73
