// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kestrosim {

/** A place in the picture, in pixels; x to the right, y down. */
struct PixelPoint {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

/** A code as it was drawn or as the device's reader read it. */
struct SceneCode {
    std::string type;  ///< "CODE128", "QR", "CODABARAB" (start and stop letter), ...; Symbologies.h
    std::string text;  ///< UTF-8; Codabar's without its two letters
    /** 0 is the upper left one of the code held upright, whichever way it lies; then clockwise. */
    std::array<PixelPoint, 4> corners;
    float pixelsPerModule = 0;                ///< of the narrowest element
    std::uint32_t readAfterMilliseconds = 0;  ///< of a code that was read: since reading began
};

/** How a reading ended; the names are those of the result documents. */
enum class ReadStatus { complete, partial, noRead };

/** A reading in short. */
struct ReadingSummary {
    ReadStatus status = ReadStatus::noRead;
    std::uint32_t codes = 0;
    std::uint32_t milliseconds = 0;
};

class SceneSource;

/** One picture with what was drawn in it and what the reader found. */
struct Scene {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;  ///< Mono8, rows without padding
    std::string image;                 ///< the name of the file it comes from; empty when drawn
    std::vector<SceneCode> drawn;      ///< nothing in a picture from a file: not known
    std::vector<SceneCode> read;
    ReadStatus status = ReadStatus::noRead;
    std::uint32_t readMilliseconds = 0;  ///< measured
};

struct SceneOptions {
    /** Of pictures from files, a side of 0 is as long as the largest one needs. */
    std::uint32_t width = 1280;
    std::uint32_t height = 1024;
    std::uint64_t seed = 1;
    std::uint32_t count = 12;
    std::uint32_t difficulty = 0;  ///< 0 to 10: blur, noise, contrast and perspective
    /** A folder of PNG, JPEG and PGM files that are the scenes, by name, instead; empty: drawn. */
    std::string imageFolder;
    /** Told of each file that cannot be shown, from the set's own thread; empty: nobody. */
    std::function<void(const std::string&)> report = {};
};

/**
 * The scenes of one camera: drawn from the seed, or the pictures of a folder, and read by a real
 * reader, each once.
 *
 * Scenes are prepared on a thread of the set's own, in order, from the first on. Pixels of pictures
 * from files are kept up to 256 MB, and loaded again when their turn comes. A file that turns out
 * to be damaged is an empty picture. Threads: any.
 */
class SceneSet {
 public:
    /** Throws std::runtime_error with the reason when the folder or a picture is of no use. */
    explicit SceneSet(const SceneOptions& options);
    ~SceneSet();
    SceneSet(const SceneSet&) = delete;
    SceneSet& operator=(const SceneSet&) = delete;

    [[nodiscard]] std::uint32_t count() const;
    /** The scene of that number (modulo count()); waits until it is prepared. Immutable. */
    [[nodiscard]] std::shared_ptr<const Scene> scene(std::uint64_t number) const;
    /** No scene is prepared any more: scene() throws std::runtime_error instead of waiting. */
    void stop() const;

 private:
    std::unique_ptr<SceneSource> source_;
};

/**
 * The scene as the block container that an ID reader sends: "SMAT", an image block and a JSON block
 * with the results; at least 576 bytes. Codes for which it has no room are left out.
 *
 * @param timestamp  the trigger's time in ticks of the camera's clock.
 * @param jpeg       the picture as a JPEG file; empty: its pixels are the image block.
 */
[[nodiscard]] std::vector<std::uint8_t> encodeContainer(const Scene& scene, std::uint64_t timestamp,
                                                        std::span<const std::uint8_t> jpeg = {});

/** Where encodeContainer() has the image block; and the results' entry in its table of blocks, in
 * which words tell their offset and length. */
inline constexpr std::size_t kContainerImageOffset = 576;
inline constexpr std::size_t kContainerResultEntry = 24;
inline constexpr std::size_t kEntryOffset = 4;
inline constexpr std::size_t kEntryLength = 8;

/** The most that encodeContainer() makes of an image block of so many bytes. */
[[nodiscard]] std::size_t mostContainerBytes(std::size_t imageBytes);

/**
 * One line of truth: a JSON object with camera, scene, width, height, codes (drawn), without a
 * newline. Of a picture from a file it has image, the file's name, and codes is null.
 */
[[nodiscard]] std::string truthLine(const std::string& camera, std::uint32_t number,
                                    const Scene& scene);

}  // namespace kestrosim
