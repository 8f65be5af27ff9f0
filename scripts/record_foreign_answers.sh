#!/bin/sh
# Record how another implementation answers: the questions of scripts/make_foreign_questions.py in
# tests/data/foreign/answers.txt, the random ones of tests/platform/foreign/Questions.cpp in random.txt.
# Needs wine (wine64) and g++-mingw-w64-x86-64; the tests only read the files.
set -e
cd "$(dirname "$0")/.."
wine=$(command -v wine64 || ls /usr/lib/wine/wine64 2>/dev/null || command -v wine || true)
[ -n "$wine" ] || { echo "wine is not installed: apt-get install wine64" >&2; exit 1; }
work=$(mktemp -d)
trap 'WINEPREFIX=$work/prefix "${wine%64}server" -k 2>/dev/null || true; rm -rf "$work"' EXIT
cmake --preset dev >"$work/build.log" 2>&1 && cmake --build --preset dev --target foreign_digest >>"$work/build.log" 2>&1 ||
  { tail -20 "$work/build.log" >&2; exit 1; }
x86_64-w64-mingw32-g++ -std=c++20 -O1 -static -I. -o "$work/judge.exe" tests/platform/foreign/*.cpp
# judge ARGUMENTS: its answers.
judge() {
  WINEPREFIX="$work/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml=" LC_ALL=C TZ=UTC \
    "$wine" "$work/judge.exe" "$@" | tr -d '\r'
}
python3 scripts/make_foreign_questions.py > "$work/questions.txt"
judge <"$work/questions.txt" >"$work/answers.txt"
[ -s "$work/answers.txt" ] || { echo "no answers" >&2; exit 1; }
judge random >"$work/all.txt"
build/dev/tests/platform/foreign_digest "$work/all.txt" >"$work/random.txt"
mkdir -p tests/data/foreign
cp "$work/answers.txt" "$work/random.txt" tests/data/foreign/
grep -c ' -> ' tests/data/foreign/answers.txt
