#!/usr/bin/env bash
# ./dev lint: layout of every source, clang-tidy on the product's, shellcheck on the scripts.
# A file that passed clang-tidy is not read again until it or anything that it includes changes.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}" clang-format clang-tidy shellcheck python3
mkdir -p build/lint
configure_and_build build >/dev/null

mapfile -t sources < <(git ls-files -co --exclude-standard '*.cpp' '*.h' '*.c')
clang-format --dry-run --Werror "${sources[@]}"
mapfile -t scripts < <(git ls-files -co --exclude-standard dev '*.sh' .ci/run packaging/systemd/run-level)
shellcheck -x -P scripts "${scripts[@]}"
scripts/tidy.py build
printf 'lint: clean\n'
