// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <kestro/BarcodeInfo.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kestro {

/** A code as the decoders fill it; nothing sets it any more once it belongs to a frame. */
class BarcodeInfoImpl final : public BarcodeInfo {
 public:
    BarcodeInfoImpl();
    ~BarcodeInfoImpl() override;

    std::int32_t getCodeType() const override;
    const std::string& getCodeTypeName() const override;
    float getPPM() const override;
    const std::vector<Point>& getPoints() const override;
    const std::string& getCodeData() const override;

    void setCodeType(std::int32_t codeType, std::string name);
    void setPPM(float ppm);
    void setPoints(std::vector<Point> points);
    void setCodeData(std::string codeData);

 private:
    std::int32_t codeType_ = -1;
    std::string codeTypeName_;
    float ppm_ = 0;
    std::vector<Point> points_;
    std::string codeData_;
};

}  // namespace kestro
