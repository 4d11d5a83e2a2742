#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Makes the environment of a stage below build/envs, with the packages that python/requirements/STAGE.txt pins and the
# wheel of obslib, which is built when a source is newer. Prints the folder of its commands.
#
# usage: tools/python_env.sh STAGE    status 3: packages could not be fetched
set -eu
cd "$(dirname "$0")/.."

# An environment is made anew when its list of packages changes.
environment() {
    list=python/requirements/$1.txt
    place=build/envs/$1
    if ! cmp -s "$list" "$place/made-of.txt"; then
        rm -rf "$place"
        python3 -m venv "$place" >&2
        "$place/bin/python" -m pip install --quiet --disable-pip-version-check -r "$list" >&2 || exit 3
        cp "$list" "$place/made-of.txt"
    fi
}

mkdir -p build/wheel
environment build
newest=$(find build/wheel -name '*.whl' | head -n 1)
if [ -z "$newest" ] || [ -n "$(find VERSION CMakeLists.txt pyproject.toml cmake python/CMakeLists.txt python/obslib Obs \
    DllExports siblings cli data README.md -newer "$newest" -type f -not -name '*.pyc' | head -n 1)" ]; then
    rm -f build/wheel/*.whl
    PATH=$PWD/build/envs/build/bin:$PATH build/envs/build/bin/python -m pip wheel --disable-pip-version-check --no-deps \
        --no-build-isolation --wheel-dir build/wheel . > build/wheel.log 2>&1 || { cat build/wheel.log >&2; exit 1; }
    newest=$(find build/wheel -name '*.whl' | head -n 1)
fi
environment "$1"
if ! cmp -s "$newest" "build/envs/$1/installed.whl"; then
    "build/envs/$1/bin/python" -m pip install --quiet --disable-pip-version-check --no-deps --no-index --force-reinstall "$newest" >&2
    cp "$newest" "build/envs/$1/installed.whl"
fi
echo "$PWD/build/envs/$1/bin"
