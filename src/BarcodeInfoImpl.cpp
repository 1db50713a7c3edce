// SPDX-License-Identifier: Apache-2.0
#include "BarcodeInfoImpl.h"

namespace kestro {

BarcodeInfo::~BarcodeInfo() = default;

BarcodeInfoImpl::BarcodeInfoImpl() = default;
BarcodeInfoImpl::~BarcodeInfoImpl() = default;

std::int32_t BarcodeInfoImpl::getCodeType() const { return codeType_; }
const std::string& BarcodeInfoImpl::getCodeTypeName() const { return codeTypeName_; }
float BarcodeInfoImpl::getPPM() const { return ppm_; }
const std::vector<Point>& BarcodeInfoImpl::getPoints() const { return points_; }
const std::string& BarcodeInfoImpl::getCodeData() const { return codeData_; }

void BarcodeInfoImpl::setCodeType(std::int32_t codeType, std::string name) {
    codeType_ = codeType;
    codeTypeName_ = std::move(name);
}

void BarcodeInfoImpl::setPPM(float ppm) { ppm_ = ppm; }
void BarcodeInfoImpl::setPoints(std::vector<Point> points) { points_ = std::move(points); }
void BarcodeInfoImpl::setCodeData(std::string codeData) { codeData_ = std::move(codeData); }

}  // namespace kestro
