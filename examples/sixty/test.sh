#!/usr/bin/env bash
# test.sh PROGRAM: the README's program does what the README says, and is what the README shows.
set -euo pipefail
program=$(realpath "$1")
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expect() {
  diff <(printf '%s\n' "$@") <("$program" "$work/tasks.db") || { echo "The output differs." >&2; exit 1; }
}
expect 'tasks: 1' 'tasks: 0' 'tasks: 1' 'Write a model class'
expect 'tasks: 2' 'tasks: 1' 'tasks: 2' 'Write a model class' 'Write a model class'

(($(wc -l <tasks.cpp) < 60)) || { echo "The program has grown to 60 lines." >&2; exit 1; }
readme=../../README.md
[[ ! -e $readme ]] || python3 - "$readme" <<'PYTHON' || { echo "README.md shows another tasks.cpp." >&2; exit 1; }
import sys
sys.exit("```cpp\n" + open("tasks.cpp").read() + "```\n" not in open(sys.argv[1]).read())
PYTHON
