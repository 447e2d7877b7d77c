#!/bin/sh
# Stands in the program's PATH under the names of the save and restore tools and of cat. Counts its
# starts, runs what the row of the table has for this one, and then is the real tool.
#
# FAULT is the row's directory. A save or restore tool is start 1 to 12 of a run, tool.1 to tool.12, and
# cat is cat.1 to cat.6, by pass. A row's script knows `real`, which runs the real
# tool, and ends the tool itself unless that is to do its work after it.
name=${0##*/}
preload=${LD_PRELOAD-}
unset LD_PRELOAD
PATH=/usr/sbin:/usr/bin:/sbin:/bin

case $name in
  cat) kind=cat tool=cat ;;
  *) kind=tool tool=$REAL_TOOLS/$name ;;
esac
real() { LD_PRELOAD=$preload "$tool" "$@"; }

read -r number < "/run/count.$kind"
number=$((number + 1))
echo $number > "/run/count.$kind"
if [ -e "$FAULT/$kind.$number" ]; then
  . "$FAULT/$kind.$number"
fi
if [ -n "$preload" ]; then
  export LD_PRELOAD="$preload"
fi
exec "$tool" "$@"
