# Sourced by the other scripts: installs what the build needs on Debian when it is missing.
ozmu_need_packages() {
  local missing=()
  local pkg
  for pkg in "$@"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=
  [ "$(id -u)" -eq 0 ] || sudo=sudo
  echo "installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}
OZMU_HOST_PACKAGES=(cmake ninja-build g++ make pkg-config libgtest-dev googletest libbenchmark-dev
                    libpng-dev)
OZMU_CROSS_PACKAGES=(g++-aarch64-linux-gnu qemu-user)
# Peers the host benchmarks compare with; the library and its tests never use them.
OZMU_BENCH_PACKAGES=(libyuv-dev libswscale-dev libavutil-dev libssl-dev)
