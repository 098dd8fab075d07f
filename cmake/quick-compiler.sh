#!/bin/sh
# SPDX-License-Identifier: MIT
# quick-compiler.sh COMPILER [LAUNCHER] GCC ARGUMENT...: has clang compile in GCC's place, through ccache if that
# is the launcher. What it does not know of GCC's options is passed over.
set -e
compiler=$1
shift
case $1 in
  *ccache*)
    launcher=$1
    shift
    ;;
esac
shift
exec ${launcher:+"$launcher"} "$compiler" "$@" -Wno-unknown-warning-option -Qunused-arguments
