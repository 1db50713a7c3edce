// SPDX-License-Identifier: Apache-2.0
#include "OverlayFolder.h"

#include "ImageFile.h"
#include "Output.h"
#include "Overlay.h"
#include "Picture.h"
#include "Png.h"

#include <utility>

namespace kestrocli {

OverlayFolder::OverlayFolder(std::string path) : path_(std::move(path)) { prepareFolder(path_); }

void OverlayFolder::save(const kestro::Frame& frame, std::string_view serial,
                         std::uint64_t number) {
    const std::string name = imageName(serial, number, "png");
    DecodedPicture picture = decodePicture(frame);
    if (!picture.raster) {
        if (problems_.insert(picture.problem).second) {
            complain(name + ": " + picture.problem +
                     " cannot be drawn on; the same goes for others like it");
        }
        return;
    }
    Raster& raster = *picture.raster;
    drawOverlay(raster, frame.getBarcodes());
    writeWhole(path_ + "/" + name,
               encodePng({raster.rgb(), raster.width(), raster.height(), PixelLayout::rgb8}));
}

}  // namespace kestrocli
