#!/usr/bin/env bash
# Measures what a run of firewall_cpp costs beside the restore tool that loads its output, and writes
# docs/performance.md and its plots. Takes some minutes.
#
# Usage: tools/bench.sh [--tables=auto|legacy|files] [USERS]...
#   USERS  sizes of the household (1 10 100 300 1000 3000)
# The environment variable BENCH_REPEATS says how many runs of each are taken (7).
#
# Times are CPU times: the program's own, without those of the tools that it starts and without what
# it takes with no configuration; those of the restore and save tools on the same six texts. The
# program's tools are stand-ins that only copy. Runs are taken in turns, and the least of several
# counts, so that other work on the machine changes the ratios little.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/.."
. tools/packages.sh

repeats=${BENCH_REPEATS:-7}
passes=({iptables,ip6tables}.{mangle,nat,filter})

# least FILE: the least first and the least second number of the lines of a file.
least() {
  awk 'NR == 1 || $1 < a { a = $1 } NR == 1 || $2 < b { b = $2 } END { print a, b }' "$1"
}

# ---- On the testbed's router: bench.sh --inside WORK NAME REPEATS. Appends what was measured to
# files of $WORK/times/NAME, in microseconds (and kB for the program).
if [ "${1-}" = --inside ]; then
  work=$2 times=$2/times/$3 repeats=$4
  export SAVED=$times/saved RESTORED=$times/restored
  mkdir -p "$SAVED" "$RESTORED"
  # cpu_of FILE COMMAND...: the CPU time of the command and its children.
  cpu_of() {
    local file=$1 TIMEFORMAT='%3U %3S' spent
    shift
    spent=$({ time "$@" > /dev/null 2> "$times/errors"; } 2>&1) || { cat "$times/errors" >&2 && exit 1; }
    awk '{ printf "%d 0\n", ($1 + $2) * 1000000 + 0.5 }' <<< "$spent" >> "$file"
  }
  # shellcheck disable=SC2317 # cpu_of calls both.
  restore_all() { local pass; for pass in "${passes[@]}"; do "${pass%.*}-restore" < "$RESTORED/$pass"; done; }
  # shellcheck disable=SC2317
  save_all() { local pass; for pass in "${passes[@]}"; do "${pass%.*}-save" -t "${pass#*.}"; done; }
  for pass in "${passes[@]}"; do
    [ -s "$SAVED/$pass" ] || "${pass%.*}-save" -t "${pass#*.}" | sed '/^#/d' > "$SAVED/$pass"
  done
  for ((i = 0; i < repeats; i++)); do
    for kind in Os O2; do
      OWN_TIME=$times/$kind LD_PRELOAD=$work/own_time.so PATH=$work/tools "$work/$kind/firewall_cpp"
    done
    [ -e "$times/program_only" ] || { cpu_of "$times/restore" restore_all; cpu_of "$times/save" save_all; }
  done
  cat "$RESTORED"/* | grep -c '^-A' > "$times/rules" || true
  exit
fi

tables=--tables=auto
users=()
for argument; do
  case $argument in
    --tables=*) tables=$argument ;;
    -*) sed -n '2,/^set/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}" && exit 1 ;;
    *) users+=("$argument") ;;
  esac
done
[ ${#users[@]} -gt 0 ] || users=(1 10 100 300 1000 3000)

install_missing "${bench_packages[@]}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for kind in Os O2; do
  echo "Building with -$kind ..."
  quietly cmake --preset release -B "build/bench/$kind" -DBUILD_TESTBED=ON -DPLATFORM=testbed \
    -DBUILD_BENCHMARKS=ON -DCMAKE_CXX_FLAGS_RELEASE="-$kind -DNDEBUG"
  quietly cmake --build "build/bench/$kind"
  mkdir "$work/$kind"
  cp "build/bench/$kind/bin/firewall_cpp" "$work/$kind"
done
built=build/bench/Os
# The size is that of the recipe's build, with the stand-ins in the place of the router's libraries.
platform=$PWD/build/bench/platform
mkdir -p "$platform/lib"
cp -r testbed/include "$platform"
for library in ubox ubus; do
  g++ -std=c++20 -shared -fPIC -I. -Itestbed/include testbed/lib$library/*.cpp -o "$platform/lib/lib$library.so"
done
quietly cmake --preset release -B build/bench/size -DPLATFORM=system -DCMAKE_PREFIX_PATH="$platform"
quietly cmake --build build/bench/size --target firewall_cpp
recipe_size=$(stat -c %s build/bench/size/bin/firewall_cpp)
cp "$(find "$built" -name 'libown_time.so')" "$work/own_time.so"

# The tools that the program finds: they copy.
mkdir -p "$work/tools" "$work/times"
cat > "$work/tools/copy" << 'END'
#!/bin/sh
unset LD_PRELOAD
tool=${0##*/}
case $tool in
  *-save) echo "${tool%-save}.$2" > "$RESTORED/.pass" && exec /bin/cat "$SAVED/${tool%-save}.$2" ;;
  *) read -r pass < "$RESTORED/.pass" && exec /bin/cat > "$RESTORED/$pass" ;;
esac
END
chmod +x "$work/tools/copy"
for tool in {iptables,ip6tables}-{save,restore}; do ln -s copy "$work/tools/$tool"; done
ln -s /bin/cat "$work/tools/cat"

# run NAME: measures the configuration $work/NAME.config.
run() {
  echo "Measuring $1 ..."
  mkdir -p "$work/times/$1"
  "$built/testbed/router" "$tables" --config="$work/$1.config" -- \
    bash tools/bench.sh --inside "$work" "$1" "$repeats" 2> "$work/router.err" ||
    { cat "$work/router.err" >&2 && exit 1; }
}
# own NAME KIND: the program's own time less its start, in microseconds, and its peak in kB.
own() {
  awk -v start="$(least "$work/times/start/$2")" '{ split(start, s); print $1 - s[1], $2 }' \
    <<< "$(least "$work/times/$1/$2")"
}
field() { cut -d ' ' -f "$1"; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.3f", a / b }'; }
# growth: the exponent of the second number in the first, by least squares.
growth() {
  awk '$2 > 0 { x = log($1); y = log($2); n++; sx += x; sy += y; sxx += x * x; sxy += x * y }
       END { if (n > 1) printf "%.2f", (n * sxy - sx * sy) / (n * sxx - sx * sx) }'
}

echo "config kovsel 'kovsel'" > "$work/start.config"
mkdir -p "$work/times/start"
: > "$work/times/start/program_only"
run start
for count in "${users[@]}"; do
  "$built/bin/print_household" "$count" > "$work/$count.config"
  run "$count"
done

# A table of foreign rules, and nothing generated.
cp "$work/start.config" "$work/foreign.config"
mkdir -p "$work/times/foreign/saved"
{
  printf '*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n'
  for ((i = 0; i < 20000; i++)); do
    echo "-A FORWARD -s 10.$((i / 65536)).$((i / 256 % 256)).$((i % 256))/32 -p tcp -m tcp --dport 80 -j ACCEPT"
  done
  echo COMMIT
} > "$work/times/foreign/saved/iptables.filter"
run foreign

# Conditions and blocks: texts in a row, nested parentheses, blocks in each other.
sizes=(1250 2500 5000 10000)
for size in "${sizes[@]}"; do
  for shape in row nested blocks; do
    mkdir -p "$work/times/$shape.$size"
    : > "$work/times/$shape.$size/program_only"
    awk -v n="$size" -v shape="$shape" 'function add(option, text) { print "\tlist " option " \x27" text "\x27" }
      BEGIN {
        print "config nfnlq \x27nfnlq\x27\n\toption queue_first 1\n\toption queue_last 1"
        for (i = 0; i < n; i++) {
          if (shape == "blocks") { add("pre_targets", "IF"); add("pre_targets", "-p tcp"); add("pre_targets", "THEN") }
          else { add("matches", "-p udp"); add("matches", i % 2 ? "AND" : "OR"); if (shape == "nested") add("matches", "(") }
        }
        if (shape == "blocks") add("pre_targets", "-j MARK --set-mark 1"); else add("matches", "-p tcp")
        for (i = 0; i < n; i++) if (shape == "blocks") add("pre_targets", "FI"); else if (shape == "nested") add("matches", ")")
      }' > "$work/$shape.$size.config"
    run "$shape.$size"
  done
done

# The peer: as many rules in its language.
for count in "${users[@]}"; do
  if [ "$count" -lt 100 ] || [ "$count" -gt 1000 ]; then continue; fi
  echo "Measuring ferm beside $count users ..."
  awk -v rules="$(cat "$work/times/$count/rules")" 'BEGIN {
    print "table filter {"
    for (i = 0; i < rules; i++) {
      if (i % 35 == 0) print (i ? "}\n" : "") "chain user" int(i / 35) " {"
      printf "proto tcp mod comment comment \"u%d\" dport %d ACCEPT;\n", i, i % 65535 + 1
    }
    print "}\nchain FORWARD { jump user0; }\n}" }' > "$work/ferm.conf"
  TIMEFORMAT='%3U %3S'
  spent=$({ time ferm --noexec --lines "$work/ferm.conf" > "$work/ferm.out"; } 2>&1)
  awk '{ print ($1 + $2) * 1000000 }' <<< "$spent" > "$work/times/$count/ferm"
done

# ---- The page.
: > "$work/table"
: > "$work/plot"
for count in "${users[@]}"; do
  times=$work/times/$count
  rules=$(cat "$times/rules") restore=$(least "$times/restore" | field 1) save=$(least "$times/save" | field 1)
  small=$(own "$count" Os) fast=$(own "$count" O2)
  echo "$count $rules ${small% *} ${fast% *} $restore $save ${small#* }" >> "$work/plot"
  awk -v restore="$restore" -v users="$count" -v rules="$rules" -v small="${small% *}" -v fast="${fast% *}" \
    -v save="$save" -v peak="${small#* }" -v ferm="$(cat "$times/ferm" 2> /dev/null || echo 0)" 'BEGIN {
    printf "| %d | %d | %.1f ms | %.1f ms | %.1f ms | %.1f ms | %.2f | %.2f | %.1f MB | %.2f µs | %s |\n", users, rules,
      small / 1000, fast / 1000, restore / 1000, save / 1000, small / restore, fast / restore, peak / 1024,
      small / rules, ferm ? sprintf("%.0f ms", ferm / 1000) : "" }' >> "$work/table"
done
{
  sed '/^<!-- measured -->$/q' docs/performance.md
  echo
  echo "Measured on $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | sed -n 1p) with $(g++ --version | sed -n 1p), least of"
  echo "$repeats runs. The stripped program has $recipe_size bytes as the recipe builds it."
  echo
  echo "| users | rules | own, -Os | own, -O2 | restore | save | -Os / restore | -O2 / restore | peak | per rule | ferm |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|"
  cat "$work/table"
  echo
  echo "| growth exponent, from 100 users or 1,250 texts on | -Os | -O2 |"
  echo "|---|---|---|"
  echo "| users | $(awk '$1 >= 100 { print $2, $3 }' "$work/plot" | growth) | $(awk '$1 >= 100 { print $2, $4 }' "$work/plot" | growth) |"
  for shape in row nested blocks; do
    case $shape in
      row) words="texts of a condition in a row" ;;
      nested) words="parentheses in each other" ;;
      blocks) words="IF blocks in each other" ;;
    esac
    echo "| $words | $(for size in "${sizes[@]}"; do echo "$size $(own "$shape.$size" Os)"; done | growth) |" \
      "$(for size in "${sizes[@]}"; do echo "$size $(own "$shape.$size" O2)"; done | growth) |"
  done
  bare=$(($(least "$work/times/foreign/restore" | field 1) + $(least "$work/times/foreign/save" | field 1)))
  echo
  echo "A table of 20,000 rules of others and nothing generated takes" \
    "$(ratio "$(own foreign Os | field 1)" "$bare") (-Os) and $(ratio "$(own foreign O2 | field 1)" "$bare") (-O2) of the"
  echo "time that saving and restoring it takes."
  echo
  echo "## Where the time goes"
  echo
  echo "Instructions of the program and its libraries for 300 users, at -Os, the first fifteen of a flat list:"
  echo
  cmake -S . -B build/bench/profile -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-Os -g -DNDEBUG" \
    -DPLATFORM=testbed > /dev/null
  quietly cmake --build build/bench/profile --target firewall_cpp
  "$built/testbed/router" --tables=files --config="$work/300.config" -- env SAVED="$work/times/300/saved" \
    RESTORED="$work/times/300/restored" PATH="$work/tools" "$(command -v valgrind)" --tool=callgrind \
    --callgrind-out-file="$work/callgrind" build/bench/profile/bin/firewall_cpp > /dev/null 2>&1
  callgrind_annotate --auto=no "$work/callgrind" | sed -nE 's/^ *[0-9,]+ \(( ?[0-9.]+%)\) +[^:]*:([^[]*).*/    \1  \2/p' | cut -c -100 |
    awk '{ share = $1; $1 = ""; sum[$0] += share } END { for (name in sum) printf "    %5.1f %% %s\n", sum[name], name }' |
    sort -rn -k 1 | sed -n 1,15p
} > "$work/page"
for plot in time memory; do
  {
    echo "set terminal svg size 640,400 background '#ffffff'; set output 'docs/performance-$plot.svg'"
    echo "set logscale xy; set key left top; set grid; set xlabel 'rules'"
    if [ $plot = time ]; then
      echo "set ylabel 'CPU time in ms'"
      echo "plot '$work/plot' using 2:(\$3/1000) with linespoints title 'firewall_cpp, -Os', \\"
      echo "  '' using 2:(\$4/1000) with linespoints title 'firewall_cpp, -O2', \\"
      echo "  '' using 2:(\$5/1000) with linespoints title 'the restore tool'"
    else
      echo "set ylabel 'peak memory in MB'"
      echo "plot '$work/plot' using 2:(\$7/1024) with linespoints title 'firewall_cpp, -Os'"
    fi
  } | gnuplot
done
cp "$work/page" docs/performance.md
sed -n '/^<!-- measured/,$p' docs/performance.md
