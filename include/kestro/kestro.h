// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_KESTRO_H
#define KESTRO_KESTRO_H

/**
 * @file
 * Everything of the C++ interface, in namespace kestro.
 *
 * @par The road
 * kestro::System finds the cameras. A kestro::Camera is connected, set up and started, and gives a
 * kestro::Frame for every picture, when asked or to a callback; a frame holds a kestro::BarcodeInfo
 * for every code that the camera read.
 *
 * @par Setting up
 * kestro::Camera::getParameter() gives a kestro::Parameter for a feature of the camera, of the
 * class that its kind calls for: kestro::ParameterInt, kestro::ParameterFloat,
 * kestro::ParameterEnum, kestro::ParameterBool, kestro::ParameterString, kestro::ParameterCommand,
 * kestro::ParameterGroup. kestro::ParameterRegister is a register by its address.
 *
 * @par Asking about
 * kestro::DeviceInfo and kestro::DeviceInfoGEV tell of a camera, kestro::InterfaceInfo and
 * kestro::InterfaceInfoNIC of the interface that it is reached through.
 *
 * @par Codes
 * What can fail returns a kestro::Result and writes one line to the log that says why.
 */

#include <kestro/BarcodeInfo.h>
#include <kestro/Camera.h>
#include <kestro/DeviceInfo.h>
#include <kestro/Frame.h>
#include <kestro/InterfaceInfo.h>
#include <kestro/Parameter.h>
#include <kestro/Result.h>
#include <kestro/System.h>

#endif
