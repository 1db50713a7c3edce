// SPDX-License-Identifier: Apache-2.0
#include "Description.h"

#include "ChunkDescription.h"
#include "ZipFile.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kestrosim {
namespace {

std::string builtInDescription() {
    std::string text = writtenDescription();
    text.insert(text.rfind("</RegisterDescription>"), chunkDescription());
    return text;
}

// One text for all cameras of a process. Packed, it takes a client a twentieth of the reads.
const std::string& packedDescription() {
    static const std::string kPacked = zipFile("SimReader.xml", builtInDescription());
    return kPacked;
}

}  // namespace

Description loadDescription(const std::string& path) {
    if (path.empty()) return {"SimReader.zip", packedDescription()};
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path + " cannot be read");
    // A client tells from the name whether to unpack what it loads.
    const bool isZip = path.size() > 4 && path.compare(path.size() - 4, 4, ".zip") == 0;
    return {isZip ? "SimReader.zip" : "SimReader.xml",
            std::string(std::istreambuf_iterator<char>(file), {})};
}

}  // namespace kestrosim
