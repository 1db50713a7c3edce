// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BarcodeInfoImpl.h"
#include "Names.h"

#include <json11.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kestro::bench {

/** The keys of a point's two coordinates, made once. */
inline const std::array<std::pair<std::string, std::string>, 4> kPointKeys{
    {{"Point0_X", "Point0_Y"},
     {"Point1_X", "Point1_Y"},
     {"Point2_X", "Point2_Y"},
     {"Point3_X", "Point3_Y"}}};

/** The datum in a wrapper. */
inline const json11::Json& valueOf(const json11::Json& object, const std::string& key) {
    static const std::string wrapped = "value";
    return object[key][wrapped];
}

inline std::shared_ptr<BarcodeInfo> json11Code(const json11::Json& element) {
    auto code = std::make_shared<BarcodeInfoImpl>();
    const std::string& typeName = valueOf(element, "CodeType").string_value();
    code->setCodeType(decode::codeTypeFromName(typeName), typeName);
    code->setCodeData(valueOf(element, "CodeData").string_value());
    code->setPPM(static_cast<float>(valueOf(element, "PPM").number_value()));
    std::vector<Point> points;
    points.reserve(kPointKeys.size());
    for (const auto& [x, y] : kPointKeys) {
        points.push_back({valueOf(element, x).int_value(), valueOf(element, y).int_value()});
    }
    code->setPoints(std::move(points));
    return code;
}

/** What the library makes of a result text, made with json11. */
inline std::vector<std::shared_ptr<BarcodeInfo>> json11Codes(const std::string& text) {
    std::string error;
    const json11::Json document = json11::Json::parse(text, error);
    std::vector<std::shared_ptr<BarcodeInfo>> codes;
    if (!error.empty()) return codes;

    const json11::Json& pipeline = valueOf(document, "ChunkPipelineJson");
    const json11::Json& scale = valueOf(document, "ChunkImgScaleJson");
    std::int64_t sum = valueOf(pipeline, "TriggerTsHigh").int_value();
    sum += valueOf(pipeline, "TriggerTsLow").int_value();
    sum += valueOf(scale, "OutWidth").int_value() + valueOf(scale, "OutHeight").int_value();
    const std::pair<const char*, const char*> readers[] = {{"ChunkBarCodeJson", "BarCode"},
                                                           {"ChunkQRCodeJson", "DataCode"}};
    for (const auto& [reader, array] : readers) {
        const json11::Json& readings = valueOf(document, reader);
        if (!readings.is_object()) continue;
        sum += static_cast<int>(decode::statusFromName(valueOf(readings, "Status").string_value()));
        sum += valueOf(readings, "Time").int_value();
        for (const json11::Json& element : valueOf(readings, array).array_items()) {
            codes.push_back(json11Code(element));
        }
    }
    benchmark::DoNotOptimize(sum);
    return codes;
}

}  // namespace kestro::bench
