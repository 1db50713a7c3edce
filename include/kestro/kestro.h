// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_KESTRO_H
#define KESTRO_KESTRO_H

/**
 * @file
 * Everything of the C++ interface.
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
