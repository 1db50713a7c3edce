// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_EXPORT_H
#define KESTRO_EXPORT_H

/** Marks what libkestro.so exports; everything else in it is hidden. */
#define KESTRO_API __attribute__((visibility("default")))

#endif
