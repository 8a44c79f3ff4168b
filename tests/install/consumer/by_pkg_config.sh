#!/bin/sh
# by_pkg_config.sh PKG_CONFIG FOLDER_OF_PC_FILES PROGRAM COMPILER...: builds the consumer and runs it.
set -eu
pkg_config=$1
export PKG_CONFIG_PATH="$2"
program=$3
shift 3
# The words of pkg-config are meant to be split.
# shellcheck disable=SC2046
"$@" -std=c++20 -o "$program" "$(dirname "$0")/consumer.cpp" $("$pkg_config" --cflags --libs qorv)
"$program"
