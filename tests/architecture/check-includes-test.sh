#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Shows that check-includes.sh finds a wrong include of each kind and passes right ones:
# usage: check-includes-test.sh CHECK WORK_FOLDER
set -eu
check=$1
root=$2/include-tree
failures=0

# The tree has these headers; a case adds one file with one include.
fresh_tree() {
    rm -rf "$root"
    mkdir -p "$root/include/kestro" "$root/src/decode" "$root/src/devsdk/gige/control" \
        "$root/src/devsdk/gige/payload" "$root/src/devsdk/gige/stream" \
        "$root/src/devsdk/gige/description" "$root/src/devsdk/logging" "$root/simulator" "$root/apps/cli"
    for header in include/kestro/Camera.h src/LogLine.h src/decode/Names.h \
        src/devsdk/VordaInfra.h src/devsdk/gige/control/Gvcp.h \
        src/devsdk/gige/payload/PayloadLayout.h src/devsdk/gige/payload/PayloadValue.h simulator/Simulator.h simulator/Gvsp.h; do
        echo '#include <string>' >"$root/$header"
    done
}

expect() {  # right|wrong FILE INCLUDE
    fresh_tree
    echo "  #  include $3" >"$root/$2"
    if sh "$check" "$root" >"$root/out" 2>&1; then found=right; else found=wrong; fi
    if [ "$found" != "$1" ]; then
        echo "$3 in $2 is taken for $found"
        failures=$((failures + 1))
    elif [ "$1" = wrong ] && ! grep -q "^$2:1: includes" "$root/out"; then
        echo "$3 in $2 is not named:"
        cat "$root/out"
        failures=$((failures + 1))
    fi
}

expect right src/X.cpp '"VordaInfra.h"'
expect right src/X.cpp '"Names.h"'
expect right src/X.cpp '<kestro/Camera.h>'
expect wrong src/X.cpp '"devsdk/VordaInfra.h"'
expect wrong src/X.cpp '"../simulator/Simulator.h"'
expect wrong src/X.cpp '"Gvcp.h"'
expect wrong src/X.cpp '"NoSuch.h"'
expect wrong src/X.cpp '<arv.h>'
expect wrong src/X.cpp '<log4cplus/logger.h>'
expect wrong include/kestro/X.h '"LogLine.h"'
expect wrong include/kestro/X.h '<fmt/format.h>'
expect right src/decode/X.cpp '<fmt/format.h>'
expect wrong src/decode/X.cpp '"LogLine.h"'
expect wrong src/decode/X.cpp '<rapidjson/document.h>'
expect wrong src/decode/X.cpp '<kestro/Camera.h>'
expect wrong src/devsdk/X.h '<unistd.h>'
expect wrong src/devsdk/X.h '"Gvcp.h"'
expect right src/devsdk/gige/X.cpp '"Gvcp.h"'
expect wrong src/devsdk/gige/X.cpp '<arv.h>'
expect right src/devsdk/gige/description/X.cpp '<arv.h>'
expect wrong src/devsdk/gige/description/X.cpp '"Gvcp.h"'
expect right src/devsdk/gige/stream/X.cpp '"PayloadLayout.h"'
expect wrong src/devsdk/gige/stream/X.cpp '"PayloadValue.h"'
expect wrong src/devsdk/gige/X.cpp '"LogLine.h"'
expect wrong src/devsdk/logging/X.cpp '"Gvcp.h"'
expect wrong simulator/X.cpp '"VordaInfra.h"'
expect wrong simulator/X.cpp '<kestro/Camera.h>'
expect right apps/cli/X.cpp '"Simulator.h"'
expect wrong apps/cli/X.cpp '"Gvsp.h"'
expect right apps/cli/main.cpp '<CLI/CLI.hpp>'
expect wrong apps/cli/X.cpp '<CLI/CLI.hpp>'

rm -rf "$root"
[ "$failures" -eq 0 ]
