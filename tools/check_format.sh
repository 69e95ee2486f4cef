#!/usr/bin/env bash
# Says which C and C++ files clang-format would write otherwise, and how to put that right.
#   tools/check_format.sh          looks
#   tools/check_format.sh --fix    rewrites them
set -euo pipefail
cd "$(dirname "$0")/.."
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
    files=$(git ls-files '*.h' '*.cpp' '*.c')
else
    files=$(find . -path ./build -prune -o \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print)
fi
[ -n "$files" ] || { echo "no files to look at"; exit 1; }
if [ "${1:-}" = --fix ]; then
    xargs clang-format -i <<<"$files"
elif ! xargs clang-format --dry-run --Werror --ferror-limit=1 <<<"$files"; then
    echo "To put it right: tools/check_format.sh --fix"
    exit 1
fi
