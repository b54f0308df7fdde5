#!/usr/bin/env bash
# Fails when a tracked C++ file differs from what clang-format makes of it with the repository's
# .clang-format, and names the files.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.mm')
[ ${#files[@]} -gt 0 ] || exit 0
if ! clang-format --dry-run -Werror "${files[@]}" 2>/tmp/brindlemar-format.$$; then
  grep -o '^[^:]*:[0-9]*' /tmp/brindlemar-format.$$ | cut -d: -f1 | sort -u |
    sed 's/^/not formatted: /'
  rm -f /tmp/brindlemar-format.$$
  echo "run: clang-format -i <file>" >&2
  exit 1
fi
rm -f /tmp/brindlemar-format.$$
