#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need on Debian
# bookworm, as root; packages already present are skipped. The 32-bit
# packages come from the i386 architecture. A package index that fails to
# download (a mirror mid-sync) is not fatal: apt keeps the lists it has.
set -u
need=()
have() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

host=(build-essential cmake g++-multilib libgtest-dev libbenchmark-dev libmpfr-dev libgmp-dev
      libopenblas-dev libgsl-dev libsleef-dev binutils python3-gmpy2 clang)
# libgsl-dev exists for one architecture at a time: the 32-bit build takes the
# (architecture-independent) headers from the host package and links the
# i386 run-time libraries by their versioned names.
i386=(libgtest-dev:i386 libmpfr-dev:i386 libgmp-dev:i386 libopenblas-dev:i386 libgsl27:i386
      libgslcblas0:i386)

for p in "${host[@]}"; do have "$p" || need+=("$p"); done
if [ "${NEX_SKIP_M32:-0}" != 1 ]; then
  for p in "${i386[@]}"; do have "$p" || need+=("$p"); done
fi
[ ${#need[@]} -eq 0 ] && exit 0

export DEBIAN_FRONTEND=noninteractive
if [ "${NEX_SKIP_M32:-0}" != 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
  dpkg --add-architecture i386
fi
apt-get update -qq || echo "install-deps: some package lists failed to update; going on" >&2
# One at a time, so that one package that cannot be had does not hold back
# the others.
status=0
for p in "${need[@]}"; do
  apt-get install -y -qq --no-install-recommends "$p" >/dev/null || {
    echo "install-deps: could not install $p" >&2
    status=1
  }
done
exit $status
