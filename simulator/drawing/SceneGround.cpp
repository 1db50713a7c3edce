// SPDX-License-Identifier: Apache-2.0
#include "SceneGround.h"

#include <algorithm>

#include "Unevenness.h"

namespace kestrosim {
namespace {

/** The parcel fills the picture but for a strip of belt; small pictures show the parcel alone. */
Box parcelIn(const Canvas& canvas, SeededRandom& random) {
    const Box whole{0, 0, canvas.width(), canvas.height()};
    if (canvas.width() < 400 || canvas.height() < 300) return whole;
    const int strip = std::min(canvas.width(), canvas.height()) / 20;
    return {whole.left + random.between(0, strip), whole.top + random.between(0, strip),
            whole.right - random.between(0, strip), whole.bottom - random.between(0, strip)};
}

void drawSurface(Canvas& canvas, const Box& box, int grey, SeededRandom& random) {
    Unevenness<6> unevenness(box.width(), box.height(), 5, random);
    const Slope slopeX(random.between(-22, 22), box.width());
    const Slope slopeY(random.between(-22, 22), box.height());
    for (int y = 0; y < box.height(); ++y) {
        unevenness.goToRow(y);
        const int rowGrey = grey + slopeY.at(y);
        std::uint8_t* const row = &canvas.at(box.left, box.top + y);
        for (int x = 0; x < box.width(); ++x) {
            const int value = rowGrey + slopeX.at(x) + unevenness.at(x);
            row[x] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
        }
    }
}

/** The corrugation that shows through cardboard. */
void drawCorrugation(Canvas& canvas, const Box& parcel) {
    for (int y = parcel.top; y < parcel.bottom; ++y) {
        for (int x = parcel.left; x < parcel.right; x += 11) {
            canvas.lighten({x, y, std::min(x + 4, parcel.right), y + 1}, -3);
        }
    }
}

void drawTape(Canvas& canvas, const Box& parcel, SeededRandom& random) {
    const int half = std::max(parcel.height() / 22, 4);
    const int middle =
        random.between(parcel.top + parcel.height() / 3, parcel.bottom - parcel.height() / 3);
    const Box tape{parcel.left, middle - half, parcel.right, middle + half};
    canvas.lighten(tape, 12);
    canvas.lighten({tape.left, tape.top, tape.right, tape.top + 2}, 14);
    canvas.lighten({tape.left, tape.bottom - 2, tape.right, tape.bottom}, -16);
    canvas.lighten({tape.left, middle - 1, tape.right, middle + 1}, -20);  // the flaps' gap
}

void drawParcelEdges(Canvas& canvas, const Box& parcel) {
    for (int step = 0; step < 6; ++step) {
        const Box ring = parcel.grownBy(-step);
        canvas.lighten({ring.left, ring.top, ring.right, ring.top + 1}, 18 - 3 * step);
        canvas.lighten({ring.left, ring.top, ring.left + 1, ring.bottom}, 12 - 2 * step);
        canvas.lighten({ring.left, ring.bottom - 1, ring.right, ring.bottom}, -30 + 5 * step);
        canvas.lighten({ring.right - 1, ring.top, ring.right, ring.bottom}, -24 + 4 * step);
    }
}

}  // namespace

Box drawGround(Canvas& canvas, SeededRandom& random) {
    const Box whole{0, 0, canvas.width(), canvas.height()};
    const Box parcel = parcelIn(canvas, random);
    if (parcel.width() < whole.width()) {
        drawSurface(canvas, whole, random.between(52, 66), random);
        canvas.darken({parcel.left, parcel.bottom, parcel.right, whole.bottom}, 70);
    }
    drawSurface(canvas, parcel, random.between(118, 146), random);
    drawCorrugation(canvas, parcel);
    if (parcel.width() < whole.width()) {
        drawTape(canvas, parcel, random);
        drawParcelEdges(canvas, parcel);
    }
    return parcel;
}

}  // namespace kestrosim
