#!/usr/bin/env bash
# clang-format and clang-tidy over the project's own sources.
set -euo pipefail
build_dir=${1:-build}
mapfile -t files < <(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp')
clang-format --dry-run -Werror "${files[@]}"
# The macOS sources are built on macOS only, so only there can they be checked.
mapfile -t units < <(printf '%s\n' "${files[@]}" | grep '^src/.*\.cpp$' | grep -v '/macos/')
findings=$(run-clang-tidy -quiet -p "$build_dir" "${units[@]}" 2>/dev/null | sed 's/\x1b\[[0-9;]*m//g' |
  grep -E '^/.*: (warning|error):' || true)
if [ -n "$findings" ]; then
  echo "$findings"
  exit 1
fi
echo "lint: clean"
