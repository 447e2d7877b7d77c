#!/bin/sh
# Stands first in PATH under the names of the four save and restore tools. Notes how it was started
# and what it was given, then does the work through the real tool on tables in files, or on texts that
# are kept byte for byte.
#
# RECORD is the directory of this run's notes. TEXTS, when set, is the directory of the kept texts;
# otherwise FILE_TOOLS holds the real tools.
name=${0##*/}
preload=${LD_PRELOAD-}
unset LD_PRELOAD
PATH=/usr/bin:/bin

echo "${preload:+LD_PRELOAD=$preload }$name${*:+ $*}" >>"$RECORD/calls"
number=$(($(wc -l <"$RECORD/calls")))
input=$RECORD/input.$number
case $name in
  *-save) echo "${name%-save}.$2" >"$RECORD/table" ;;
  *-restore) cat >"$input" ;;
esac

if [ -n "${TEXTS-}" ]; then
  table=$TEXTS/$(cat "$RECORD/table")
  case $name in
    *-save) exec cat "$table" ;;
    *-restore) exec cp "$input" "$table" ;;
  esac
fi
if [ -n "$preload" ]; then
  export LD_PRELOAD="$preload"
fi
case $name in
  *-save) exec "$FILE_TOOLS/$name" "$@" ;;
  *-restore) exec "$FILE_TOOLS/$name" "$@" <"$input" ;;
esac
