#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that this project needs, if any is missing.
#
# usage: tools/packages.sh SET...    sets: build, test, python, browser, bench, lint, fixtures
set -eu

build="g++ cmake ninja-build liberfa-dev libspdlog-dev libfmt-dev libcli11-dev zlib1g-dev libzstd-dev"
test="libgtest-dev python3 pkg-config gfortran zstd mandoc zsh fish"
python="python3 python3-venv python3-dev"
browser="chromium"
bench="libbenchmark-dev libabsl-dev libboost-dev"
lint="clang clang-format clang-tidy"
fixtures="python3 python3-astropy python3-erfa python3-skyfield python3-mpmath"

wanted=
for set in "$@"; do
    case $set in
        build) wanted="$wanted $build" ;;
        test) wanted="$wanted $test" ;;
        python) wanted="$wanted $python" ;;
        browser) wanted="$wanted $browser" ;;
        bench) wanted="$wanted $bench" ;;
        lint) wanted="$wanted $lint" ;;
        fixtures) wanted="$wanted $fixtures" ;;
        *) echo "tools/packages.sh: there is no set '$set'" >&2; exit 2 ;;
    esac
done

missing=
for package in $wanted; do
    # shellcheck disable=SC2016  # dpkg-query replaces the variable, not the shell
    state=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null) || state=
    [ "$state" = installed ] || missing="$missing $package"
done
if [ -z "$missing" ]; then
    echo "All Debian packages needed are installed:$wanted"
    exit 0
fi

sudo=
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing Debian packages:$missing"
export DEBIAN_FRONTEND=noninteractive
# Lists may be older than the packages they name, or not be there yet.
# shellcheck disable=SC2086  # the names are to be split
$sudo apt-get update -qq && $sudo apt-get install -y -qq --no-install-recommends $missing
