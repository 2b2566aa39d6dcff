#!/bin/sh
# compile.sh COMPILER ARGUMENTS...: how a copy of the checkout is compiled. What is mutated, without
# optimization, debug information and warnings: that is quick, and the same code is the same bytes.
# The rest as in any build, so that ccache has it already.
for source; do :; done
case "$source" in
    "$MUTANTS_COPY"/base/* | "$MUTANTS_COPY"/trace/* | "$MUTANTS_COPY"/daemon/* | "$MUTANTS_COPY"/os/* | "$MUTANTS_COPY"/hardware/*)
        set -- "$@" -O0 -g0 -w ;;
esac
if command -v ccache >/dev/null; then
    exec ccache "$@"
fi
exec "$@"
