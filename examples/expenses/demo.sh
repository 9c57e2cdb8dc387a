#!/usr/bin/env bash
# demo.sh PROGRAM: a tour of the expense book, from an empty directory to a checked book. Colours on a terminal, unless
# NO_COLOR is set or DEMO_COLOR says always or never.
set -euo pipefail
program=$(realpath "$1")
here=$(realpath "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export XDG_CONFIG_HOME=$work/settings

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

step "How would the rows be read? Nobody has said which encoding, separator, dates and numbers these are"
how=(--first-line 4 --invert --map date=Booked --map memo=Purpose)
run expenses import home.book statement.csv "${how[@]}" --preview

step "The rows become expenses: one undo step, one transaction; and how they were read is remembered"
run expenses import home.book statement.csv "${how[@]}" --remember bank

step "The next file, read like the last one: the rows of 30 December once more, a new one, and a bad one"
{ head -n 4 statement.csv && grep '^30.12.2024' statement.csv &&
  printf '02.01.2025;%s\r\n' 'Canteen;;Food/Eating out;-7,50;EUR' 'Kiosk;;Food/Eating out;-7,x0;EUR'; } >next.csv
run expenses import home.book next.csv --remember bank --skip-duplicates --skip-bad-rows --dry-run

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

step "A copy on another computer: both are edited, then brought into agreement"
run cp home.book laptop.book
run expenses edit laptop.book --kind category --where path=Health budget=60
run expenses add laptop.book date=2025-01-02 payee='Kiosk am Dom' amount=3.20 category=Food/Groceries
run expenses edit home.book --kind category --where path=Food/Groceries budget=900
run expenses sync home.book laptop.book --yes --write-both
run expenses sync home.book laptop.book

step "Is everything in its place?"
run expenses check home.book
