#!/usr/bin/env bash
# demo.sh PROGRAM: a tour of the expense book, from an empty directory to a checked book. Colours on a terminal, unless
# NO_COLOR is set or DEMO_COLOR says always or never.
set -euo pipefail
program=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

expenses() { "$program" --color "${DEMO_COLOR:-auto}" "$@"; }
make_statement() { "$here/make_statement.py" "$@"; }

bold='' plain=''
if [[ ${DEMO_COLOR:-auto} == always || (${DEMO_COLOR:-auto} == auto && -t 1 && -z ${NO_COLOR:-}) ]]; then
  bold=$'\e[1m' plain=$'\e[0m'
fi
step() { printf '\n%s── %s%s\n' "$bold" "$1" "$plain"; }
# Shows a command line as one would type it, and runs it.
run() {
  local word line='$'
  for word; do
    [[ $word =~ ^[A-Za-z0-9_.,/=+:%@€-]+$ ]] || word="'$word'"
    line+=" $word"
  done
  printf '%s\n' "$line" | fold -s -w 118 | sed '2,$s/^/      /'
  "$@"
}

step "A bank's file: 20,000 rows, windows-1252, decimal commas, three lines above the table"
run make_statement statement.csv
head -n 6 statement.csv | iconv -f windows-1252 -t utf-8 | tr -d '\r' | sed 's/^/    /'

step "A new book, and a second currency"
run expenses new home.book --currency EUR --symbol € --wallet 'Current account'
run expenses add home.book --kind currency code=CHF rate=1.04

step "The rows become expenses: one undo step, one transaction"
run expenses import home.book statement.csv --encoding windows-1252 --separator ';' --first-line 4 \
  --date-format dd.MM.yyyy --number-format 1.234,56 --invert --map date=Booked --map payee=Payee --map memo=Purpose \
  --map category=Category --map amount=Amount --map currency=Currency

step "Another process opens the book"
run expenses list home.book --where category=Leisure --sort -amount,date --limit 5
run expenses edit home.book --kind category --where path=Food/Groceries budget=800
run expenses edit home.book --kind category --where 'path=Food/Eating out' budget=400
run expenses summary home.book --by category
run expenses summary home.book --by month --where year=2024

step "A batch on one open book: 5,000 expenses are changed, the change is undone, and made again"
cat >commands.txt <<'BATCH'
edit --where category=Food/Groceries cleared=yes
list --where cleared=yes --sort date --limit 2
undo
list --where cleared=yes --sort date --limit 2
redo
list --where cleared=yes --sort date --limit 2
save
BATCH
run cat commands.txt
echo '$ expenses batch home.book < commands.txt'
expenses batch home.book <commands.txt

step "Is everything in its place?"
run expenses check home.book
