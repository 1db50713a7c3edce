/* SPDX-License-Identifier: Apache-2.0 */
#include "road_lines.h"

#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

struct RoadArguments roadArguments(int count, char** values) {
    struct RoadArguments arguments = {0};
    if (count != 5) {
        fprintf(stderr, "usage: %s SERIAL RESULT-FORMAT WIDTH HEIGHT\n", values[0]);
        exit(2);
    }
    arguments.serial = values[1];
    arguments.resultFormat = values[2];
    arguments.width = atoi(values[3]);
    arguments.height = atoi(values[4]);
    return arguments;
}

void roadFail(const char* what, int code) {
    fflush(stdout);
    fprintf(stderr, "FAILED: %s: %d\n", what, code);
    exit(1);
}

void roadCheck(const char* what, int code) {
    if (code != 0) roadFail(what, code);
}

/* A code may hold line ends; all other bytes are printed as they are. */
static void quoted(const char* text) {
    putchar('"');
    for (; *text; ++text) {
        const unsigned char byte = (unsigned char)*text;
        if (byte < 0x20 || byte == '\\') {
            printf("\\x%02x", byte);
        } else {
            putchar(byte);
        }
    }
    putchar('"');
}

void roadTexts(const char* what, ...) {
    va_list texts;
    const char* text;
    va_start(texts, what);
    printf("%s", what);
    while ((text = va_arg(texts, const char*))) {
        putchar(' ');
        quoted(text);
    }
    putchar('\n');
    va_end(texts);
}

static uint32_t sumOf(const uint8_t* bytes, uint32_t size) {
    uint32_t sum = 2166136261u; /* FNV-1a */
    uint32_t i;
    for (i = 0; i < size; ++i) sum = (sum ^ bytes[i]) * 16777619u;
    return sum;
}

void roadFrame(const struct RoadFrame* frame) {
    printf("%s frame block=%" PRIu64 " size=%" PRIu32 "x%" PRIu32 " format=%08" PRIx32
           " status=%" PRId32 " jpeg=%d bytes=%" PRIu32 " sum=%08" PRIx32 " codes=%zu\n",
           frame->way, frame->blockId, frame->width, frame->height, frame->pixelFormat,
           frame->status, frame->isJpeg, frame->imageSize,
           sumOf(frame->imageData, frame->imageSize), frame->codes);
}

void roadCode(const struct RoadCode* code) {
    int i;
    printf("  code type=%d ppm=%.9g corners=", code->type, (double)code->ppm);
    for (i = 0; i < 4; ++i) {
        printf("(%" PRId32 ",%" PRId32 ")", code->corners[i][0], code->corners[i][1]);
    }
    printf(" name=");
    quoted(code->typeName);
    printf(" text=");
    quoted(code->text);
    putchar('\n');
}
