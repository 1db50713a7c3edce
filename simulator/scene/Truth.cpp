// SPDX-License-Identifier: Apache-2.0
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

#include "Scene.h"

namespace kestrosim {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void text(JsonWriter& json, const std::string& value) {
    json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void writeCode(JsonWriter& json, const SceneCode& code) {
    json.StartObject();
    json.Key("type");
    text(json, code.type);
    json.Key("text");
    text(json, code.text);
    json.Key("points");
    json.StartArray();
    for (const PixelPoint& corner : code.corners) {
        json.StartArray();
        json.Int(corner.x);
        json.Int(corner.y);
        json.EndArray();
    }
    json.EndArray();
    json.Key("ppm");
    json.Double(static_cast<double>(code.pixelsPerModule));
    json.EndObject();
}

// What is in a picture from a file is not known; an empty list would say that there is nothing.
void writeCodes(JsonWriter& json, const Scene& scene) {
    if (!scene.image.empty()) {
        json.Null();
        return;
    }
    json.StartArray();
    for (const SceneCode& code : scene.drawn) writeCode(json, code);
    json.EndArray();
}

/** A file's name can be any bytes: where they are no UTF-8, what is not ASCII becomes '?'. */
std::string inUtf8(std::string name) {
    rapidjson::MemoryStream from(name.data(), name.size());
    rapidjson::StringBuffer to;
    while (from.Tell() < name.size()) {
        if (rapidjson::UTF8<>::Validate(from, to)) continue;
        std::replace_if(
            name.begin(), name.end(), [](char letter) { return letter < 0 || letter > 126; }, '?');
        break;
    }
    return name;
}

}  // namespace

std::string truthLine(const std::string& camera, std::uint32_t number, const Scene& scene) {
    rapidjson::StringBuffer buffer;
    JsonWriter json(buffer);
    json.StartObject();
    json.Key("camera");
    text(json, camera);
    json.Key("scene");
    json.Uint(number);
    json.Key("width");
    json.Uint(scene.width);
    json.Key("height");
    json.Uint(scene.height);
    if (!scene.image.empty()) {
        json.Key("image");
        text(json, inUtf8(scene.image));
    }
    json.Key("codes");
    writeCodes(json, scene);
    json.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace kestrosim
