/* SPDX-License-Identifier: Apache-2.0
 *
 * What the C program and its C++ twin share: their arguments and the shape of their output, so that
 * two runs can be compared line by line.
 */
#ifndef KESTRO_ROAD_LINES_H
#define KESTRO_ROAD_LINES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The program triggers each frame: none is lost because it or the machine is slow. */
enum { kFramesByCallback = 200, kFramesByPolling = 200, kBuffers = 4, kPatienceSeconds = 60 };

/* The features that are written besides, and what to. */
#define ROAD_RATE 999.5
#define ROAD_EXPOSURE 2500.5
#define ROAD_USER_ID "K\303\266ln 7" /* "Köln 7" */

struct RoadArguments {
    const char* serial;
    const char* resultFormat; /* a symbol of the feature ResultFormat */
    int width;
    int height;
};

struct RoadFrame {
    const char* way; /* "callback" or "polled" */
    uint64_t blockId;
    uint32_t width;
    uint32_t height;
    uint32_t pixelFormat;
    int32_t status;
    int isJpeg;
    uint32_t imageSize;
    const uint8_t* imageData;
    size_t codes;
};

struct RoadCode {
    int type;
    float ppm;
    int32_t corners[4][2];
    const char* text;
    const char* typeName;
};

/* Ends the program with a usage line when they are wrong. */
struct RoadArguments roadArguments(int count, char** values);

/* Ends the program: what failed goes to stderr. */
void roadFail(const char* what, int code);
/* Ends the program unless the code is 0. */
void roadCheck(const char* what, int code);

/* One line: `what`, and texts, each quoted; the last is NULL. */
void roadTexts(const char* what, ...);
/* One line for a frame, with a sum over all bytes of its image. */
void roadFrame(const struct RoadFrame* frame);
void roadCode(const struct RoadCode* code);

#ifdef __cplusplus
}
#endif

#endif
