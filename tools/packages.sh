# Sourced by ./demo, ./check and the commands beside it: the Debian packages that each needs, and
# how they get installed.

# proot: for containers that refuse namespaces.
demo_packages=(g++ cmake ninja-build iptables libxtables-dev iproute2 ipset util-linux proot)
# lld links a program with sanitizers in a third of the time.
check_packages=("${demo_packages[@]}" make lld clang libclang-rt-dev clang-format clang-tidy
                libgtest-dev libgmock-dev libbenchmark-dev libboost-graph-dev git
                # Both ends of connections through the router.
                socat
                # The shell and the C library of routers, and a second reader of their scripts.
                busybox musl-tools shellcheck)
# ferm is the peer, gnuplot draws, valgrind counts instructions.
bench_packages=("${demo_packages[@]}" libbenchmark-dev ferm gnuplot-nox valgrind)
mutation_packages=("${check_packages[@]}" python3)
# Its test library comes as source there; `time` measures memory.
arm_packages=("${check_packages[@]}" g++-arm-linux-gnueabihf qemu-user-static googletest time)
coverage_packages=("${check_packages[@]}" python3)

# install_missing PACKAGE...
# Installs those that are not installed; says which. Ends the script if that needs a root user.
install_missing() {
  local package missing=()
  # On other systems than Debian the build itself says what it lacks.
  command -v dpkg-query > /dev/null || return 0
  for package in "$@"; do
    if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2> /dev/null)" != installed ]; then
      missing+=("$package")
    fi
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "Missing packages: ${missing[*]}" >&2
    echo "Install them as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  quietly apt-get update
  quietly apt-get install -y --no-install-recommends "${missing[@]}"
}

# quietly COMMAND...
# Shows the command's output only if it fails, and then ends the script.
quietly() {
  local output
  if ! output=$("$@" 2>&1); then
    printf '%s\n' "$output" >&2
    echo "Failed: $*" >&2
    exit 1
  fi
}
