#!/usr/bin/env bash
# The mutation check: changes the product in some 400 places, one at a time, and says which changes
# no test notices. Takes about an hour; --help lists the arguments. Ends with 0 when at least 95 %
# are noticed and every other one has its reason in tools/mutation/survivors.txt.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh

install_missing "${mutation_packages[@]}"
mkdir -p build/figures
nice -n 10 python3 -B tools/mutation/run.py "$@" | tee build/figures/mutation
