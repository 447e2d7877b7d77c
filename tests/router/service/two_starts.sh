# Two starts at once, and one beside a stop: each has its turn, and the tables are whole.
# shellcheck source=tests/router/service/common.sh
. "$1/tests/router/service/common.sh"

install_packages
count_runs
queue 1
reload_config
once=$(tables)
runs > /var/run/shown

service start &
first=$!
service start &
second=$!
wait $first || check 'the first' 0 $?
wait $second || check 'the second' 0 $?
check 'runs' 2 "$(runs)"
check 'the tables' "$once" "$(tables)"

service stop &
first=$!
service start &
wait $first
wait $!
case $(tables) in
  "$once" | "$(foreign_tables)") ;;
  *) check 'the tables after a stop beside a start' "$once" "$(tables)" ;;
esac
check 'nothing to tell' '' "$(log)"
