// SPDX-License-Identifier: Apache-2.0
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

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
    json.Key("codes");
    json.StartArray();
    for (const SceneCode& code : scene.drawn) writeCode(json, code);
    json.EndArray();
    json.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace kestrosim
