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

if find "$work/prefix" -path '*/internal*' | grep .; then
  echo "The files above are internal, but installed." >&2
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
include=$(dirname "$(find "$work/prefix" -path '*/QWAdditions/platform' -type d)")
(cd "$include" && find . -name '*.h' -printf '#include <%P>\n' | sort) >"$work/all.h"  # beside the program's own classes
"${CXX:-c++}" -std=c++20 -include "$work/all.h" "$here/main.cpp" "${flags[@]}" -o "$work/consumer"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir qwadditions) "$work/consumer"

# A shared library shows what installed headers declare, and nothing that lies in internal/.
library=$(find "$work/prefix" -name libQWAdditions.so)
if [[ $library ]]; then
  names=$(find "$here/../../src" -path '*/internal/*.h' -printf '%f\n' | sed 's/\.h$//' | paste -sd '|')
  if nm -DC --defined-only "$library" | grep -E " [A-Z] ((vtable|typeinfo|typeinfo name) for )?(qw::)?($names)(\$|::)"; then
    echo "The symbols above are internal, but exported." >&2
    exit 1
  fi
fi
