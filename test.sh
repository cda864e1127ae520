#!/usr/bin/env bash
# Installs what the tests need, builds one of the builds and runs every test in it.
# Usage: ./test.sh [release|ilp32|asan|all]        (release when nothing is said)
set -euo pipefail
cd "$(dirname "$0")"

build=${1:-release}
case "$build" in
    release | ilp32 | asan) builds=("$build") ;;
    all) builds=(release ilp32 asan) ;;
    -h | --help) sed -n '2,3s/^# //p' "$0"; exit 0 ;;
    *) echo "test.sh: unknown build '$build' (release, ilp32, asan or all)" >&2; exit 2 ;;
esac

packages=(cmake ninja-build g++ googletest ccache libcli11-dev nlohmann-json3-dev locales pkg-config)
[[ " ${builds[*]} " == *" ilp32 "* ]] && packages+=(g++-multilib)
[[ " ${builds[*]} " == *" release "* ]] && packages+=(libbenchmark-dev liblua5.4-dev libpixman-1-dev
    libboost-dev libboost-serialization-dev libstb-dev doxygen)
# Programs that read what we write and write what we read; tests of that are skipped without them.
packages+=(imagemagick netpbm ffmpeg)
. cmake/install-packages.sh "${packages[@]}"

# A locale with a decimal comma, for the tests alone.
export LOCPATH="$PWD/build/locales"
if [ ! -d "$LOCPATH/de_DE.UTF-8" ]; then
    mkdir -p "$LOCPATH"
    localedef -i de_DE -f UTF-8 --no-archive "$LOCPATH/de_DE.UTF-8"
fi

for build in "${builds[@]}"; do
    echo "== $build: build"
    cmake --preset "$build" >/dev/null
    cmake --build "build/$build"
    echo "== $build: tests"
    ctest --test-dir "build/$build" --output-on-failure -j "$(nproc)"
done
