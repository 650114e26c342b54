#!/usr/bin/env bash
# clang-format and clang-tidy over the project's own sources.
set -euo pipefail
build_dir=${1:-build}
mapfile -t files < <(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp')
clang-format --dry-run -Werror "${files[@]}"
mapfile -t units < <(printf '%s\n' "${files[@]}" | grep '^src/.*\.cpp$')
run-clang-tidy -quiet -p "$build_dir" "${units[@]}" 2>/dev/null | grep -E 'warning:|error:' && exit 1
echo "lint: clean"
