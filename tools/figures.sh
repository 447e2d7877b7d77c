#!/usr/bin/env bash
# Writes the figures of docs/assurance.md from what the last runs of ./check, tools/coverage.sh,
# tools/memcheck.sh, tools/mutation.sh and tools/arm.sh left in build/figures. Of a command that was not
# run the figures stay as they are.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
page=docs/assurance.md

# sum LINES UNIT: adds up the numbers before the unit in the lines of ./check that match.
sum() {
  grep -E "^($1)[:,]" build/figures/check | grep -oE "[0-9]+ $2" \
    | awk '{ total += $1 } END { print total + 0 }' | sed ':more; s/\B[0-9]\{3\}\>/,&/; t more'
}

# row FIGURE COUNT COMMAND
row() { echo "| $1 | $2 | \`$3\` |"; }

# figures FILE: the rows of one command.
figures() {
  local families='one block|ELSEIF|nested|nested ELSEIF|sequence|repeated in a condition|repeated in two conditions'
  case $1 in
    check)
      row "exhaustive programs" "$(sum "$families" programs)" ./check
      row "packets through them" "$(sum "$families" packets)" ./check
      row "large random programs" "$(sum random programs)" ./check
      row "programs of random configurations" "$(sum configurations programs)" ./check
      row "programs compared with the literal compiler" "$(sum 'literal[^:]*' programs)" ./check
      row "programs on the kernel's echo" "$(sum 'echo[^:]*' programs)" ./check
      row "different graphs with their post-dominators" "$(sum "$families|random|configurations" graphs)" ./check
      row "pairs of match lists" "$(sum merge 'pairs of lists')" ./check
      row "policy statements" "$(sum '[^:]*' 'statements checked')" ./check
      row "runs foretold by \`firewall_cpp-inspect diff\`" "$(sum inspect runs)" ./check
      row "pairs of tables compared by it" "$(sum tables seeds)" ./check
      row "fault rows" "$(sum '[^:]*' faults)" ./check
      ;;
    coverage)
      awk '$1 == "all" { printf "lines %s of %s\nbranches %s of %s\n", $2, $4, $(NF - 4), $(NF - 2) }' \
        build/figures/coverage | while read -r what count; do
        row "$what of the product that tests run" "$count" tools/coverage.sh
      done
      ;;
    memcheck) row "memcheck" "$(sed 's/^memcheck: //' build/figures/memcheck)" tools/memcheck.sh ;;
    mutation)
      row "changes of one place in the product that a test notices" \
        "$(sed -nE 's/^([0-9]+) mutants of seed [0-9]+, ([0-9]+) caught \(([0-9.]+) %\).*/\2 of \1 (\3 %)/p' \
          build/figures/mutation)" tools/mutation.sh
      ;;
    arm-*) row "32-bit ARM, ${1#arm-}" "$(sed 's/^[^:]*: //' "build/figures/$1")" "tools/arm.sh ${1#arm-}" ;;
  esac
}

declare -A commands=([check]=./check [coverage]=tools/coverage.sh [memcheck]=tools/memcheck.sh
                     [mutation]=tools/mutation.sh [arm-glibc]='tools/arm.sh glibc'
                     [arm-musl]='tools/arm.sh musl')
rows=$(
  for name in check coverage memcheck mutation arm-glibc arm-musl; do
    if [ -s "build/figures/$name" ]; then
      figures "$name"
    else
      grep -F "| \`${commands[$name]}\` |" "$page" || true
    fi
  done
)
new=$(mktemp)
trap 'rm -f "$new"' EXIT
ROWS=$rows awk '
  /^<!-- end of figures -->/ { print "| figure | count | command |\n|---|---|---|\n" ENVIRON["ROWS"] }
  /^<!-- end of figures -->/ { inside = 0 }
  !inside { print }
  /^<!-- figures -->/ { inside = 1 }' "$page" > "$new"
cat "$new" > "$page"
