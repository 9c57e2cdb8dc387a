#!/usr/bin/env bash
# run.sh BUILD: installs that build into a temporary prefix and builds and runs a program against it in each way a
# user would: whole CMake package, one component, pkg-config. The prefix is moved first, as a package is.
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CXXFLAGS=

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"
if grep -rFl -e "$(dirname "$here")" -e "$(cd "$build" && pwd)" "$work/prefix"; then
  echo "The files above name the directory they were built in." >&2
  exit 1
fi

configure() { cmake -G Ninja -S "$here" -B "$work/$1" -D CMAKE_PREFIX_PATH="$work/prefix" -D QW_COMPONENTS="$2"; }
for components in "" "values"; do
  configure "build$components" "$components" >"$work/log" || { cat "$work/log"; exit 1; }
  cmake --build "$work/build$components"
  "$work/build$components/consumer"
done

if configure unknown "values;nonsense" >"$work/log" 2>&1; then
  echo "A component that does not exist was found." >&2
  exit 1
fi
grep -F "no component nonsense" "$work/log"

PKG_CONFIG_PATH=$(dirname "$(find "$work/prefix" -name qwadditions.pc)")
export PKG_CONFIG_PATH
read -ra flags <<<"$(pkg-config --cflags --libs qwadditions)"
"${CXX:-c++}" -std=c++20 "$here/main.cpp" "${flags[@]}" -o "$work/consumer"
"$work/consumer"
