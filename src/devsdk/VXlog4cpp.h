// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace VXlog4cpp {

/** A log category; opaque to its users. */
class Category;

/** Levels are priorities: the lower the number, the more severe. */
inline constexpr int kError = 300;
inline constexpr int kWarning = 400;
inline constexpr int kDebug = 700;
inline constexpr int kTrace = 800;

/** The logging facade. Threads: any, all operations. Nothing here throws. */
class CVxLog {
 public:
    /** The category of the library's own lines. */
    static Category* Logger_vxsdk();
    /** The category of the device SDK's lines. */
    static Category* Logger_device();

    /**
     * Writes one line.
     *
     * `format` is printf's, with "%I64" for 64-bit values on every platform. Texts of any length.
     * (No format attribute: compilers do not know "%I64".)
     */
    static void Log(Category* category, int level, const char* format, ...);
    static bool isLevelEnabled(Category* category, int level);

    /** True when a configuration was loaded, here or by the host application. */
    static bool isConfigloaded();
    /** Loads a properties file; false when it cannot be read or says nothing of our lines. */
    static bool LoadConfig(const char* path);
    /** Warnings and errors to stderr; the environment variable KESTRO_LOG names another level. */
    static void LoadDefault();
};

}  // namespace VXlog4cpp
