#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Checks every #include of the product's code against the arrows between the boxes of the
# architecture. Usage: check-includes.sh SOURCE_ROOT
# The compiler refuses most wrong ones by itself, because a target sees only the folders of the boxes
# below it; this holds the rest, such as who may include which foreign library.
set -eu
cd "$1"

for folder in include src simulator apps; do
    if [ -d "$folder" ]; then find "$folder" -name '*.h' -o -name '*.cpp' -o -name '*.c'; fi
done | sort | awk '
function row(folder, own, foreign) {
    boxes[++boxCount] = folder
    ownFolders[folder] = own
    foreignHeaders[folder] = "^(" foreign ")$"
}

BEGIN {
    public = "kestro/[A-Za-z_]+\\.h"
    posix = "(arpa|linux|net|netinet|netpacket|sys)/[a-z_]+\\.h|" \
            "(endian|fcntl|ifaddrs|poll|pthread|sched|signal|time|unistd)\\.h"

    # The arrows. A box may include the C++ standard library, the headers that stand in the folders
    # of the second column (=: this header alone) and, in <>, the foreign headers of the third.
    # The row of the deepest folder counts; one that ends in a file name is for that file alone.
    row("include/kestro", "", public "|std[a-z]+\\.h")
    row("src", "src src/decode src/devsdk", public "|sched\\.h")
    row("src/decode", "src/decode", "rapidjson/(reader|error/en)\\.h|fmt/.*")
    row("src/devsdk", "src/devsdk", "-")
    gige = "src/devsdk/gige"
    common = "src/devsdk " gige "/common"
    row(gige, common " src/devsdk/gige =control/CameraSearch.h =control/ControlChannel.h" \
        " =control/Discovery.h" \
        " =control/Environment.h =control/Gvcp.h =control/MessageChannel.h =description/Description.h" \
        " =payload/PayloadLayout.h =features/FeatureModel.h =features/Features.h" \
        " =features/FeaturePoller.h" \
        " =features/AppliedSettings.h =config/DeviceConfig.h" \
        " =stream/CameraLink.h =stream/StreamSource.h", "-")
    row(gige "/common", common, posix)
    row(gige "/control", common " " gige "/control", posix)
    row(gige "/description", common " " gige "/description", "(arv|zlib)\\.h|libxml/.*")
    row(gige "/payload", common " " gige "/payload =description/DescriptionCheck.h" \
        " =description/AravisNodes.h =description/DescriptionNodes.h", "-")
    row(gige "/features", common " " gige "/features =description/DescriptionCheck.h" \
        " =description/DescriptionTree.h =description/AravisNodes.h =description/DescriptionNodes.h" \
        " =description/FormulaGuard.h =payload/PayloadLayout.h", "-")
    row(gige "/config", common " " gige "/config =features/Features.h" \
        " =features/AppliedSettings.h =features/ConnectionFeatures.h =features/SelectorPosition.h", "-")
    row(gige "/stream", common " " gige "/stream =payload/PayloadLayout.h", posix)
    row("src/devsdk/logging", "src/devsdk/logging src/devsdk", "log4cplus/.*|(pthread|unistd)\\.h")
    sim = "simulator"
    scene = sim "/scene"
    row(sim, sim " " sim "/device " sim "/faults =pictures/PictureFolder.h", posix)
    row(scene, scene, "pthread\\.h|rapidjson/.*")
    row(sim "/drawing", scene " " sim "/drawing", "ZXing/.*")
    row(sim "/reading", scene " " sim "/reading", "ZXing/.*")
    row(sim "/pictures", scene " " sim "/pictures", posix "|(jerror|jpeglib|png)\\.h")
    row(sim "/wire", sim "/wire", "-")
    row(sim "/faults", scene " " sim "/faults", "rapidjson/.*")
    row(sim "/results", scene " " sim "/wire " sim "/results", "jpeglib\\.h|rapidjson/.*")
    row(sim "/device", sim " " scene " " sim "/wire " sim "/results " sim "/faults " sim "/device", \
        posix "|zlib\\.h")
    cli = "apps/cli =simulator/Simulator.h =simulator/scene/Scene.h =simulator/faults/FaultPlan.h"
    row("apps/cli", cli, public "|" posix "|(jpeglib|png)\\.h|rapidjson/(writer|stringbuffer)\\.h")
    row("apps/cli/main.cpp", cli, public "|" posix "|CLI/.*")
}

{ files[++fileCount] = $0; exists[$0] = 1 }

function boxOf(file,    i, best) {
    best = ""
    for (i = 1; i <= boxCount; ++i) {
        if (file != boxes[i] && index(file, boxes[i] "/") != 1) continue
        if (length(boxes[i]) > length(best)) best = boxes[i]
    }
    return best
}

function isOwn(box, header,    parts, count, i) {
    if (header ~ /\//) return 0
    count = split(ownFolders[box], parts, " ")
    for (i = 1; i <= count; ++i) {
        if (parts[i] ~ /^=/ ? parts[i] ~ ("/" header "$") : (parts[i] "/" header) in exists) return 1
    }
    return 0
}

function check(file, line, text,    header, box, isQuoted) {
    isQuoted = text ~ /^[ \t]*#[ \t]*include[ \t]*"/
    header = text
    sub(/^[ \t]*#[ \t]*include[ \t]*["<]/, "", header)
    sub(/[">].*$/, "", header)
    box = boxOf(file)
    ++checked
    if (box == "") complain(file, line, header, "a box without a row in the table")
    else if (!isOwn(box, header) && (isQuoted || !isForeign(box, header)))
        complain(file, line, header, "not allowed in " box)
}

# The headers of the C++ standard library are those without a suffix.
function isForeign(box, header) { return header ~ /^[a-z_]+$/ || header ~ foreignHeaders[box] }

function complain(file, line, header, why) {
    printf "%s:%d: includes %s: %s\n", file, line, header, why
    ++wrong
}

END {
    for (i = 1; i <= fileCount; ++i) {
        number = 0
        while ((getline text < files[i]) > 0) {
            ++number
            if (text ~ /^[ \t]*#[ \t]*include[ \t]*["<]/) check(files[i], number, text)
        }
        close(files[i])
    }
    printf "%d includes in %d files checked, %d wrong\n", checked, fileCount, wrong
    exit wrong > 0 || checked == 0
}'
