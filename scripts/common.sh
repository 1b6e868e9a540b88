# Shared by the commands of this tree; sourced, not run.

say() { printf '\n\033[1m== %s\033[0m\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

BUILD_PACKAGES="cmake g++ libboost-dev libmnl-dev libnftnl-dev libnl-route-3-dev libsnmp-dev
  libspdlog-dev libsystemd-dev libxml2-dev libyang2-dev ninja-build pkg-config"
SHOW_PACKAGES="iproute2 libyuma-base nftables openssh-server procps python3 snmp snmptrapd socat
  util-linux yangcli"
TEST_PACKAGES="ansible-core clang-format clang-tidy g++-arm-linux-gnueabihf g++-i686-linux-gnu
  googletest libgmock-dev libgtest-dev librapidcheck-dev prometheus-node-exporter python3-ncclient
  python3-pytest qemu-user strace"
BENCH_PACKAGES="libbenchmark-dev"
PACKAGE_PACKAGES="binutils dpkg-dev lintian man-db python3-pytest strace systemd"
FUZZ_PACKAGES="clang libclang-rt-14-dev libyuma-base"
COVERAGE_PACKAGES="gcovr"

# The words "sudo" or "" that a command needs in front to act as root; fails when it cannot.
root_prefix() {
  if [ "$(id -u)" -eq 0 ]; then
    echo ""
  elif command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
    echo sudo
  else
    return 1
  fi
}

# mask SUDO UNIT...: servers are wanted in namespaces only; installing them starts none on this
# machine.
mask() {
  [ -d /run/systemd/system ] || return 0
  $1 systemctl mask "${@:2}"
  echo "Not started; if this machine is to have them: systemctl unmask ${*:2}"
}

# Installs the packages named that are missing, with the system's package manager.
need_packages() {
  local missing=() package sudo
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  sudo=$(root_prefix) ||
    fail "packages are missing and there is neither root nor sudo to install them: ${missing[*]}"
  say "Installing ${missing[*]}"
  case " ${missing[*]} " in *" openssh-server "*) mask "$sudo" ssh.service ssh.socket ;; esac
  case " ${missing[*]} " in
    *" prometheus-node-exporter "*) mask "$sudo" prometheus-node-exporter.service ;;
  esac
  $sudo apt-get update -q </dev/null
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends \
    "${missing[@]}" </dev/null
}

# Builds the daemon in build/release; arguments go to cmake.
build_daemon() {
  local log
  say "Building the daemon (build/release)"
  log=$(cmake --preset release -DSNMP_APP_TESTS=OFF -DSNMP_APP_BENCH=OFF "$@" 2>&1) ||
    { echo "$log" >&2; fail "cmake refused the tree"; }
  cmake --build --preset release --parallel "$(nproc)" --target snmp-app snmp-app-show
}

# The command that runs another one as root of a network and mount namespace of its own, so that
# what it does to networks cannot reach the machine's; as root, with sudo, or without either in a
# user namespace. Empty when this machine permits none of them.
private_network() {
  local sudo outside
  outside="env OUTSIDE=$(readlink /proc/self/ns/net)+$(readlink /proc/self/ns/mnt)"
  if sudo=$(root_prefix); then
    echo "$sudo unshare --net --mount -- $outside"
  elif unshare --map-root-user --net --mount true 2>/dev/null; then
    echo "unshare --map-root-user --net --mount -- $outside"
  fi
}

# run_system BUILD XML [FILE...]: runs the system tests, or these files of them, on the daemon of a
# build folder; their outcome goes to a JUnit file. Where they cannot run, says so and calls skip.
run_system() {
  local namespace
  [ $# -gt 2 ] || set -- "$@" tests/system
  namespace=$(private_network)
  if [ -z "$namespace" ]; then
    echo "SKIPPED tests/system: neither root, sudo nor unprivileged user namespaces on this machine"
    skip "system tests (no way to make network namespaces)"
    return 0
  fi
  $namespace env SNMP_APP_BUILD="$1" TSAN_OPTIONS="${TSAN_OPTIONS:-}" \
    FAULTS_SEED="${FAULTS_SEED:-1}" PYTHONDONTWRITEBYTECODE=1 \
    /usr/bin/python3 -m pytest -q -rs -p no:cacheprovider --junitxml "$2" "${@:3}"
}
