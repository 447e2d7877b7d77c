#!/bin/sh
# Shell scripts parse, and say in their first line what runs them.
set -eu
for script in $(git grep -lE '^#!.*\b(ba)?sh$' -- . ':!*.md'); do
  case $(head -n 1 "$script") in
    *bash) bash -n "$script" ;;
    *) sh -n "$script" ;;
  esac
done
