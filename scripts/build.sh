#!/usr/bin/env bash
# ./dev build: everything, under build/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
need "${build_packages[@]}"
configure_and_build build
