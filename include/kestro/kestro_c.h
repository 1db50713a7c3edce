// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_KESTRO_C_H
#define KESTRO_KESTRO_C_H

/**
 * @file
 * The C interface of Kestro: 45 functions over opaque handles, with records of fixed layout.
 *
 * C99; compiles as C++ too. Everything that a C program needs to know stands in this file.
 *
 * @par The road
 * kstEnumDevices() finds the cameras, kstCreateDevice() makes a handle, kstOpenDevice() takes
 * control, the feature functions set the camera up, kstStartGrabbing() starts it. Frames then come
 * through kstGetFrame(), or to the function given to kstRegisterFrameCallback().
 *
 * @par Codes
 * Functions that return `int` return one of ::kstCode, unless their own text says otherwise.
 * Arguments are checked first (KST_ERROR_ARGUMENT), in the order in which they stand in the text
 * of the function, then the handle (KST_ERROR_HANDLE); nothing is done before both are good. Every
 * failure writes a line to the log that says what failed and why; where none is written, the
 * function says so.
 *
 * @par Log
 * The first call reads its configuration from `SDKLOG_default.properties` in the current directory.
 * Without that file, warnings and errors go to stderr.
 *
 * @par Handles
 * A handle stands for a camera or for a frame. A null pointer, a released handle, a pointer that
 * Kestro did not hand out and the handle of the other kind are all told from a good one, at no
 * risk. But as with free(), the address of a released one may soon be that of a new one: forget it.
 * A handle is released with kstReleaseHandle(), as often as it was handed out. Releasing it
 * in one thread while another is in a call with it is safe: that call ends well, the next one is
 * refused. Memory that was reached through a handle goes with it: see each record.
 *
 * @par Threads
 * Every function may be called from any thread, also from a callback. On one camera,
 * kstOpenDevice(), kstCloseDevice(), kstStartGrabbing(), kstForceIpAddress(), kstSaveDeviceConfig()
 * and kstLoadDeviceConfig() must not run at the same time. A thread must not be cancelled
 * (pthread_cancel) while it is in the library.
 *
 * @par Processes
 * In a child that fork() made of a process that has called Kestro, every function fails at once and
 * writes no line: KST_ERROR_SDK, NULL or 0; kstReleaseHandle() does nothing. The camera stays the
 * parent's, which grabs on. The child may exec(), _exit() or exit(), but not return from a callback
 * in which the fork was made. A process that forks before its first call may call in both.
 *
 * @par Callbacks
 * They run on threads of the library (that of kstEnumFeatureChildren() on the caller's), with no
 * lock held, one at a time for each kind and camera; only a frame callback that starts its camera
 * anew may meet the next one. It has to return: no longjmp() or pthread_exit() may leave it.
 * @par
 * What its `user` points to has to live as long as it can run. After kstCloseDevice() no callback
 * of that handle runs; for frames, kstStopGrabbing() or removing the function is enough. These
 * wait for a call that is under way, but called from a callback not for that one. Releasing the
 * handle, replacing a function and removing one of another kind wait for none.
 *
 * @par Exceptions
 * None leaves a function. One that is thrown by a callback written in C++ is caught and logged; in
 * kstEnumFeatureChildren() it ends the call with KST_ERROR_SDK. So does a lack of memory: the
 * functions that return a handle then return NULL, those that return 1 or 0 return 0.
 *
 * @par Texts
 * NUL-terminated bytes, as a rule UTF-8. A text that is cut to fit is cut at a byte.
 *
 * @par Records
 * Little-endian, naturally aligned, of the sizes and offsets that the assertions below hold on to;
 * only 64-bit systems are served. Reserved bytes are for later versions.
 */

#include <kestro/Export.h>

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What a call came to. */
enum kstCode {
    KST_OK = 0,              /**< success */
    KST_ERROR_SDK = 2,       /**< the camera refused, or did not answer; the log says why */
    KST_ERROR_ARGUMENT = 3,  /**< a pointer is NULL or a size is 0 */
    KST_ERROR_NOT_FOUND = 5, /**< there is no such record, or no symbol for the value */
    KST_ERROR_GRABBING = 8,  /**< acquisition is already running */
    KST_ERROR_ABSENT = 9,    /**< what the call needs does not exist: no stream, no GigE camera */
    KST_ERROR_HANDLE = 20,   /**< the handle is unknown, released, or of the other kind */
    KST_ERROR_BUFFER = 21,   /**< the caller's buffer is too small; it holds what fitted */
    KST_ERROR_SUBNET = 22,   /**< camera and host interface are not in one subnet */
    KST_ERROR_CONNECTED = 23 /**< refused because the camera is connected */
};

/** Where kstEnumDevices() looks; may be added, 0 means everywhere. */
enum kstInterfaceMask { KST_INTERFACE_NIC = 1, KST_INTERFACE_USB = 2 };

/** What kind of text kstCreateDevice() is given. */
enum kstIdentifierType {
    KST_BY_KEY = 0,           /**< kstDeviceInfo.id */
    KST_BY_SERIAL_NUMBER = 1, /**< kstDeviceInfo.serialNumber */
    KST_BY_IP_ADDRESS = 2,    /**< kstDeviceInfo.ipAddress */
    KST_BY_MAC_ADDRESS = 3    /**< kstDeviceInfo.macAddress */
};

/** What kind of feature it is, and so which functions serve it. */
enum kstFeatureType {
    KST_FEATURE_UNKNOWN = 0, /**< there is no such feature, or of a kind that is not served */
    KST_FEATURE_INT = 1,
    KST_FEATURE_FLOAT = 2,
    KST_FEATURE_ENUM = 3,
    KST_FEATURE_BOOL = 4,
    KST_FEATURE_STRING = 5,
    KST_FEATURE_COMMAND = 6,
    KST_FEATURE_GROUP = 7
};

/** The kind of a code: below 100 one-dimensional, from 100 on two-dimensional. */
enum kstCodeType {
    KST_CODE_UNKNOWN = -1, /**< of a name that is not in this list; kstBarcodeInfo.codeTypeName */
    KST_CODE_EAN8 = 0,
    KST_CODE_EAN13 = 1,
    KST_CODE_CODE39 = 2,
    KST_CODE_CODE93 = 3,
    KST_CODE_CODE128 = 4,
    KST_CODE_UPCA = 5,
    KST_CODE_UPCE = 6,
    KST_CODE_ITF25 = 7,
    KST_CODE_CODABAR = 8, /**< also with start and stop letters, CODABARAA to CODABARDD */
    KST_CODE_CODE128A = 9,
    KST_CODE_CODE128B = 10,
    KST_CODE_CODE128C = 11,
    KST_CODE_QR = 100,
    KST_CODE_DM = 101,
    KST_CODE_PDF417 = 102,
    KST_CODE_VERICODE = 103,
    KST_CODE_MQR = 104
};

/** How the reading of a frame came out; the "PHASE" ones are of a reading over several frames. */
enum kstFrameStatus {
    KST_STATUS_NONE = 0, /**< none was delivered */
    KST_STATUS_NA = 1,
    KST_STATUS_COMPLETE = 2,
    KST_STATUS_NOREAD = 3,
    KST_STATUS_PARTIAL = 4,
    KST_STATUS_FAIL = 5,
    KST_STATUS_PHASE_NA = 6,
    KST_STATUS_PHASE_COMPLETE = 7,
    KST_STATUS_PHASE_NOREAD = 8,
    KST_STATUS_PHASE_PARTIAL = 9,
    KST_STATUS_PHASE_FAIL = 10
};

/**
 * A camera as kstEnumDevices() found it. Texts that are too long are cut (to 63 bytes, that of the
 * interface to 127); one that the camera does not supply is empty.
 */
typedef struct kstDeviceInfo {
    int32_t deviceType;       /**< 1 GigE Vision, else 0 */
    int32_t interfaceType;    /**< 1 reached through a network interface card, else 0 */
    char id[64];              /**< the camera's key, "manufacturer:serial" or the MAC address */
    char name[64];            /**< the name that a user gave to the camera */
    char serialNumber[64];    /**< as a text: it need not be a number */
    char vendorName[64];      /**< the manufacturer's name */
    char modelName[64];       /**< the model's name */
    char manufactureInfo[64]; /**< what else the manufacturer says of it */
    char deviceVersion[64];   /**< of the camera or its firmware, as the manufacturer writes it */
    char interfaceName[128];  /**< the system's name of the interface, "eth0" */
    uint8_t reserved1[440];   /**< 0 */
    char macAddress[64];      /**< "01:23:45:67:89:ab"; this and the following of GigE Vision */
    char ipAddress[64];       /**< "192.168.1.7" */
    char subnetMask[64];      /**< "255.255.255.0" */
    char defaultGateway[64];  /**< "0.0.0.0" when it has none */
    uint8_t isIpValid;        /**< 1 when it can be reached at its address, else 0 */
    uint8_t reserved2[767];   /**< 0 */
} kstDeviceInfo;

/** The cameras of an enumeration. */
typedef struct kstDeviceList {
    uint32_t deviceCount; /**< how many cameras were found */
    uint32_t reserved1;   /**< 0 */
    /**
     * The first of `deviceCount` records. It belongs to the library and is valid until the next
     * kstEnumDevices(), in whatever thread: copy what is to be kept.
     */
    kstDeviceInfo* devices;
    uint8_t reserved2[64]; /**< 0 */
} kstDeviceList;

/** A place in the image in pixels; (0, 0) is the upper left pixel. */
typedef struct kstPoint {
    int32_t x; /**< to the right */
    int32_t y; /**< down */
} kstPoint;

/** One decoded code. It and its texts live as long as the kstFrameInfo that points to it. */
typedef struct kstBarcodeInfo {
    int32_t codeType; /**< a ::kstCodeType */
    float ppm;        /**< size of one module in image pixels; 0 when the camera sent none */
    /** The corners, the code's own upper left first, then clockwise; (0, 0) for missing ones. */
    kstPoint points[4];
    /** The decoded bytes, line breaks too; a NUL among them ends what is seen here. */
    const char* codeData;
    const char* codeTypeName; /**< the kind of code as the camera named it; may be empty */
    uint8_t reserved[256];    /**< 0 */
} kstBarcodeInfo;

/** An image with what the camera read in it. How long it is valid says the function it is from. */
typedef struct kstFrameInfo {
    uint64_t blockId;      /**< consecutive, from 1 at each start, also one after
                            the camera was lost; a gap is a frame that did not arrive */
    uint64_t timestamp;    /**< of the trigger, in ticks of the camera's clock; 0 when not sent */
    uint32_t width;        /**< in pixels */
    uint32_t height;       /**< in pixels */
    uint32_t pixelFormat;  /**< a PFNC code (Mono8 is 0x01080001); 0xFFFFFFFF when unknown */
    int32_t status;        /**< a ::kstFrameStatus */
    uint32_t barcodeCount; /**< number of codes */
    uint32_t imageSize;    /**< bytes at `imageData` */
    const uint8_t* imageData;       /**< the image; NULL when the camera sent none */
    const kstBarcodeInfo* barcodes; /**< the first of `barcodeCount` records */
    uint8_t payloadFlag;            /**< 1 when the image is a JPEG file, else 0 */
    uint8_t reserved[255];          /**< 0 in a callback; kstGetFrameInfo() does not write them */
} kstFrameInfo;

/** A change of a camera's connection. */
typedef struct kstConnectionEvent {
    int32_t state;        /**< 1 online again, 0 offline */
    uint8_t reserved[64]; /**< 0 */
} kstConnectionEvent;

/** A whole number, with the values that it can take: `minValue` plus a multiple of `incValue`. */
typedef struct kstIntFeatureInfo {
    int64_t curValue; /**< the value */
    int64_t minValue; /**< the smallest */
    int64_t maxValue; /**< the largest */
    int64_t incValue; /**< at least 1 */
} kstIntFeatureInfo;

/** A floating-point number. Where the camera sets no limit, the largest doubles there are. */
typedef struct kstFloatFeatureInfo {
    double curValue; /**< the value */
    double minValue; /**< the smallest */
    double maxValue; /**< the largest */
    char unit[32];   /**< "us"; cut to 31 bytes, always terminated, empty when there is none */
} kstFloatFeatureInfo;

/** A text. */
typedef struct kstStringFeatureInfo {
    uint32_t maxLen;    /**< most bytes, without a NUL; 0xFFFFFFFF when there is no limit */
    char curValue[256]; /**< terminated only when shorter than 256 bytes */
} kstStringFeatureInfo;

/** One of the values of an enumeration. */
typedef struct kstEnumEntry {
    uint64_t value;  /**< its number */
    char symbol[64]; /**< its name, at most 63 bytes, always terminated */
} kstEnumEntry;

/** The values of an enumeration, in the order of the camera's description. */
typedef struct kstEnumEntryList {
    uint32_t count;           /**< at most 64 */
    kstEnumEntry entries[64]; /**< the first `count` are written, the others are left as they are */
} kstEnumEntryList;

/**
 * Gets a frame. `info` and all that it points to are valid during the call only.
 *
 * It runs on the delivery thread of this camera's stream: meanwhile packets are still received, and
 * frames wait in the buffers.
 */
typedef void (*kstFrameCallback)(const kstFrameInfo* info, void* user);
/** Is told that the camera's connection changed; `event` is valid during the call only. */
typedef void (*kstConnectionCallback)(const kstConnectionEvent* event, void* user);
/** Is told the name of a feature whose value changed; `name` is valid during the call only. */
typedef void (*kstFeatureUpdateCallback)(const char* name, void* user);
/** Gets the name of a feature that a group holds; `name` is valid during the call only. */
typedef void (*kstFeatureChildCallback)(const char* name, void* user);

/**
 * @name Devices
 * @{
 */

/** The library's version, "1.1.0.307039"; a static text. Configures logging when called first. */
KESTRO_API const char* kstGetVersion(void);

/**
 * Finds the cameras on the network. Takes up to a second; with the same cameras as last time a
 * quarter of one.
 *
 * Handles stay as they are. A camera that is found again gets another handle from
 * kstCreateDevice(); both share its connection.
 *
 * @param list  filled; not touched on failure.
 * @param typeMask  of ::kstInterfaceMask; 0 is everywhere.
 * @return 0 (also when there is no camera), 2 when the search could not be made (not logged), 3.
 */
KESTRO_API int kstEnumDevices(kstDeviceList* list, unsigned int typeMask);

/**
 * Makes a handle for a camera of the latest kstEnumDevices().
 *
 * @param identifier  must match exactly.
 * @param type  a ::kstIdentifierType.
 * @return the handle; the same one, to be released once more, for a camera that has one. NULL when
 *     there is no such camera (a line at error level), or `identifier` is NULL or empty.
 */
KESTRO_API void* kstCreateDevice(const char* identifier, int type);

/**
 * Gives a handle of a camera or of a frame back. Anything else is ignored. Logs nothing.
 *
 * With the last release, a camera that nobody else uses is stopped and disconnected, and a frame's
 * memory is freed. But the list of the latest enumeration uses its cameras too, and meanwhile their
 * callbacks go on: close a camera before you release it.
 */
KESTRO_API void kstReleaseHandle(void* handle);

/**
 * What the latest kstEnumDevices() found out about the camera; the camera is not asked.
 *
 * @return 0, 3 (`handle` or `info` is NULL), 20, 5 when the latest enumeration did not find it.
 */
KESTRO_API int kstGetDeviceInfo(void* handle, kstDeviceInfo* info);

/**
 * Takes control of the camera and starts watching the connection. A program that ends without
 * kstCloseDevice() leaves it under control for some seconds more: everybody is refused with 2.
 *
 * @return 0 (also when it is open already, with a warning), 2 when the camera refused or did not
 *     answer, 9 when it is no GigE Vision camera, 20, 22 when its address is not in the subnet of
 *     the interface that it was found on: see kstForceIpAddress().
 */
KESTRO_API int kstOpenDevice(void* handle);

/**
 * Stops grabbing when needed and gives the control back; harmless when not open. When it returns,
 * no callback of this handle runs (unless it was called from one). @return 0, 20.
 */
KESTRO_API int kstCloseDevice(void* handle);

/** @return 1 while the camera is under control and answers; else 0, also for an unknown handle. */
KESTRO_API int kstIsDeviceOpen(void* handle);

/**
 * Gives the camera another address until its next power cycle. It is told by its MAC address, so
 * that this works in a wrong subnet too. Enumerate again before you open it.
 *
 * @param ipAddr  dotted IPv4 text, like the next two.
 * @param subnetMask  "255.255.255.0"
 * @param gateway  "0.0.0.0" for none.
 * @return 0, 2 (bad text, no answer), 3, 9 when it is no GigE Vision camera, 20, 23 when it is
 * open.
 */
KESTRO_API int kstForceIpAddress(void* handle, const char* ipAddr, const char* subnetMask,
                                 const char* gateway);

/** Writes the camera's GenICam description (XML). Needs: open. @return 0, 2 (not logged), 3, 20. */
KESTRO_API int kstDownloadGenICamXML(void* handle, const char* path);

/**
 * Saves the camera's configuration: a line of text for each feature that belongs to it. A file
 * that is there is replaced only by a whole one. Needs: open. @return 0, 2, 3, 20.
 */
KESTRO_API int kstSaveDeviceConfig(void* handle, const char* path);

/**
 * Applies a file that kstSaveDeviceConfig() wrote, feature by feature. One that the camera refuses
 * does not keep the others from being applied; each is logged. Needs: open.
 *
 * @return 0 when everything was applied, 3, 20; 2 when the file could not be read, and also when
 *     single features were refused and the rest was applied.
 */
KESTRO_API int kstLoadDeviceConfig(void* handle, const char* path);

/**
 * @}
 * @name Acquisition and frames
 * @{
 */

/**
 * Starts the acquisition. Needs: open. With a frame callback registered, the frames go to it and
 * kstGetFrame() gets none.
 *
 * @param bufferCount  frames that may wait in the library, each as large as the camera's payload;
 *     1024 at most, 0 or less takes the default (8). When all are waiting, the oldest is dropped.
 * @return 0, 2, 8 when it is running, 9 when no stream could be made, 20.
 */
KESTRO_API int kstStartGrabbing(void* handle, int bufferCount);

/**
 * Stops the acquisition; harmless when it is not running. When it returns, no frame callback runs
 * (unless it was called from one). @return 0, 20.
 */
KESTRO_API int kstStopGrabbing(void* handle);

/**
 * @return 1 from a successful start to the stop, also while the camera is away; else 0, also for an
 *     unknown handle.
 */
KESTRO_API int kstIsGrabbing(void* handle);

/** Drops the frames that are waiting. @return 0, 2, 9 when not grabbing, 20. */
KESTRO_API int kstClearFrameBuffer(void* handle);

/**
 * Waits for the next frame. Needs: grabbing, no frame callback. kstStopGrabbing() in another thread
 * ends the wait.
 *
 * @param timeout  longest wait in milliseconds; 0 polls. The loss of the camera does not end the
 *     wait: ask kstIsDeviceOpen() when no frame came.
 * @return a frame handle, to be given to kstReleaseHandle() when done; it outlives the camera. NULL
 *     when no frame came in time, one could not be decoded, or `handle` is unknown (each logged).
 */
KESTRO_API void* kstGetFrame(void* handle, unsigned int timeout);

/** @return 1 for the handle of a frame that was not released, else 0. Logs nothing. */
KESTRO_API int kstIsFrameValid(void* frame);

/**
 * Describes a frame. Writes the named fields of `info` and leaves the reserved bytes as they are.
 *
 * What `info` points to belongs to the frame: it is valid until the frame's last release. Calling
 * it again, in whatever thread, gives the same pointers.
 *
 * @return 0, 3, 20.
 */
KESTRO_API int kstGetFrameInfo(void* frame, kstFrameInfo* info);

/**
 * Sets the function that gets every frame; NULL removes it, and when that returns it does not run
 * (unless it was removed from a frame callback). @return 0, 20.
 */
KESTRO_API int kstRegisterFrameCallback(void* handle, kstFrameCallback proc, void* user);

/**
 * Sets the function that is told when the camera goes offline, and when it is online again; NULL
 * removes it. What kstOpenDevice() and kstCloseDevice() bring about need not be told.
 *
 * Offline is one that no longer answers or takes our orders. Until kstCloseDevice(), the library
 * searches it, also at another address, and opens it again; sets again the features that
 * were set, also by kstLoadDeviceConfig(), in that order, and leaves selectors where they were
 * left; and starts the acquisition again if it ran. Only then it is online. Not repeated are
 * commands, but for UserSetLoad. The handle stays the same, and frames stay good. While the camera
 * is offline, what needs it fails, and kstGetFrame() waits. With KESTRO_RECONNECT=0 in the
 * environment it stays offline until kstCloseDevice() and kstOpenDevice().
 *
 * It runs on the same thread as the feature-update callback. A frame may come before the call that
 * says online.
 *
 * @return 0, 20.
 */
KESTRO_API int kstRegisterConnectionCallback(void* handle, kstConnectionCallback proc, void* user);

/**
 * Sets the function that is told which features changed, one call for each; NULL removes it.
 *
 * These are: features that were written through this library and those that depend on them;
 * features that the camera wants asked periodically, when their value moved; the data of the events
 * that the camera sends. Setting it on an open camera, and opening a camera with it set, lists the
 * whole feature tree once.
 *
 * @return 0, 20.
 */
KESTRO_API int kstRegisterFeatureUpdateCallback(void* handle, kstFeatureUpdateCallback proc,
                                                void* user);

/**
 * @}
 * @name Features
 *
 * By name, as the camera's GenICam description spells it; SFNC has the standard ones. Needs: open.
 * The camera is asked anew by every call. Besides what is said at each, they return 2 when the
 * camera or the checks made before a write refuse, also when the feature is of another kind,
 * and 20. An output is written only when the value was read. A `name` that is NULL is refused with
 * 3 where it is named below, elsewhere it is the empty name, which no camera has.
 * @{
 */

/** @return a ::kstFeatureType; 0 when not open, and for an unknown handle. */
KESTRO_API int kstGetFeatureType(void* handle, const char* name);
/** @return 1 when the camera has the feature, else 0; like the next three, 0 when not open. */
KESTRO_API int kstIsFeatureValid(void* handle, const char* name);
/** @return 1 when it is there at this moment, else 0. */
KESTRO_API int kstIsFeatureAvailable(void* handle, const char* name);
/** @return 1 when it can be read at this moment, else 0. */
KESTRO_API int kstIsFeatureReadable(void* handle, const char* name);
/** @return 1 when it can be written at this moment, else 0. */
KESTRO_API int kstIsFeatureWriteable(void* handle, const char* name);

/** @return 0, 2, 3 (`name` or `value` is NULL), 20. */
KESTRO_API int kstGetIntFeatureValue(void* handle, const char* name, int64_t* value);
/** Refused when out of range, off the increment, locked or not writable. @return 0, 2, 20. */
KESTRO_API int kstSetIntFeatureValue(void* handle, const char* name, int64_t value);
/**
 * Value, limits and increment at this moment, written in this order until one fails.
 * @return 0, 2, 3 (`name` or `info` is NULL), 20.
 */
KESTRO_API int kstGetIntFeatureInfo(void* handle, const char* name, kstIntFeatureInfo* info);

/** @return 0, 2, 3 (`name` or `value` is NULL), 20. */
KESTRO_API int kstGetFloatFeatureValue(void* handle, const char* name, double* value);
/** Refused when out of range, not a number, locked or not writable. @return 0, 2, 20. */
KESTRO_API int kstSetFloatFeatureValue(void* handle, const char* name, double value);
/**
 * Value, limits and unit at this moment, written in this order until one fails.
 * @return 0, 2, 3 (`name` or `info` is NULL), 20.
 */
KESTRO_API int kstGetFloatFeatureInfo(void* handle, const char* name, kstFloatFeatureInfo* info);

/** @return 0, 2, 3 (`name` or `value` is NULL), 20. */
KESTRO_API int kstGetBoolFeatureValue(void* handle, const char* name, bool* value);
/** @return 0, 2, 20. */
KESTRO_API int kstSetBoolFeatureValue(void* handle, const char* name, bool value);

/**
 * Copies a text. Give a size greater than the text's length to have it terminated: a text that fits
 * exactly is not, and with a smaller size the first `*size` bytes are copied without a NUL.
 *
 * @param size  in: bytes at `value`; out: the text's length without a NUL.
 * @return 0, 2, 3 (`name`, `value` or `size` is NULL), 20, 21 when `*size` was smaller than the
 *     length (not logged).
 */
KESTRO_API int kstGetStringFeatureValue(void* handle, const char* name, char* value,
                                        uint32_t* size);
/** Refused when longer than the feature takes. @return 0, 2, 3 (`name` or `value` is NULL), 20. */
KESTRO_API int kstSetStringFeatureValue(void* handle, const char* name, const char* value);
/**
 * The longest text and the text, written in this order until one fails.
 *
 * @return 0, 2, 3 (`name` or `info` is NULL), 20, 21 when the text has more than 256 bytes: the
 *     first 256 are there.
 */
KESTRO_API int kstGetStringFeatureInfo(void* handle, const char* name, kstStringFeatureInfo* info);

/** @return 0, 2, 3 (`name` or `value` is NULL), 20. */
KESTRO_API int kstGetEnumFeatureValue(void* handle, const char* name, uint64_t* value);
/** Refused when no entry of that value can be chosen at this moment. @return 0, 2, 20. */
KESTRO_API int kstSetEnumFeatureValue(void* handle, const char* name, uint64_t value);
/**
 * Copies the symbol of the current value. Give a `size` of 64 to have room for every one: one that
 * fits exactly is not terminated, and of a longer one the first `size` bytes are copied.
 *
 * @param size  bytes at `symbol`.
 * @return 0, 2, 3 (`size` is 0, `name` or `symbol` is NULL), 5 when no entry has the value, 20, 21.
 */
KESTRO_API int kstGetEnumFeatureSymbol(void* handle, const char* name, char* symbol, uint32_t size);
/** @return 0, 2, 3 (`name` or `symbol` is NULL), 20. */
KESTRO_API int kstSetEnumFeatureSymbol(void* handle, const char* name, const char* symbol);
/**
 * Lists the entries, also those that cannot be chosen at this moment.
 *
 * @return 0, 2, 3 (`name` or `entryList` is NULL), 20, 21 when there are more than 64: the first 64
 *     are there (not logged).
 */
KESTRO_API int kstGetEnumFeatureEntryList(void* handle, const char* name,
                                          kstEnumEntryList* entryList);

/** Starts a command; does not wait until the camera has carried it out. @return 0, 2, 20. */
KESTRO_API int kstExecCommandFeature(void* handle, const char* name);

/**
 * Calls `fn` for every feature and group that a group holds, in the order of the camera's
 * description, on this thread, before it returns. The group "Root" holds them all.
 *
 * @return 0, 2, 3 (`name` or `fn` is NULL), 20.
 */
KESTRO_API int kstEnumFeatureChildren(void* handle, const char* name, kstFeatureChildCallback fn,
                                      void* user);

/** @} */

/** @cond the layout that applications were compiled with */
#if defined(__cplusplus)
#define KST_HOLDS(what, condition) static_assert(condition, "kestro: the layout of " #what)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KST_HOLDS(what, condition) _Static_assert(condition, "kestro: the layout of " #what)
#else
#define KST_HOLDS(what, condition) typedef char kstHolds_##what[(condition) ? 1 : -1]
#endif
#define KST_SIZE(record, size) KST_HOLDS(record, sizeof(record) == (size))
#define KST_AT(record, field, offset) \
    KST_HOLDS(record##_##field, offsetof(record, field) == (offset))

KST_SIZE(kstDeviceList, 80);
KST_AT(kstDeviceList, deviceCount, 0);
KST_AT(kstDeviceList, devices, 8);
KST_AT(kstDeviceList, reserved2, 16);

KST_SIZE(kstDeviceInfo, 2048);
KST_AT(kstDeviceInfo, deviceType, 0);
KST_AT(kstDeviceInfo, interfaceType, 4);
KST_AT(kstDeviceInfo, id, 8);
KST_AT(kstDeviceInfo, name, 72);
KST_AT(kstDeviceInfo, serialNumber, 136);
KST_AT(kstDeviceInfo, vendorName, 200);
KST_AT(kstDeviceInfo, modelName, 264);
KST_AT(kstDeviceInfo, manufactureInfo, 328);
KST_AT(kstDeviceInfo, deviceVersion, 392);
KST_AT(kstDeviceInfo, interfaceName, 456);
KST_AT(kstDeviceInfo, macAddress, 1024);
KST_AT(kstDeviceInfo, ipAddress, 1088);
KST_AT(kstDeviceInfo, subnetMask, 1152);
KST_AT(kstDeviceInfo, defaultGateway, 1216);
KST_AT(kstDeviceInfo, isIpValid, 1280);

KST_SIZE(kstFrameInfo, 312);
KST_AT(kstFrameInfo, blockId, 0);
KST_AT(kstFrameInfo, timestamp, 8);
KST_AT(kstFrameInfo, width, 16);
KST_AT(kstFrameInfo, height, 20);
KST_AT(kstFrameInfo, pixelFormat, 24);
KST_AT(kstFrameInfo, status, 28);
KST_AT(kstFrameInfo, barcodeCount, 32);
KST_AT(kstFrameInfo, imageSize, 36);
KST_AT(kstFrameInfo, imageData, 40);
KST_AT(kstFrameInfo, barcodes, 48);
KST_AT(kstFrameInfo, payloadFlag, 56);

KST_SIZE(kstBarcodeInfo, 312);
KST_AT(kstBarcodeInfo, codeType, 0);
KST_AT(kstBarcodeInfo, ppm, 4);
KST_AT(kstBarcodeInfo, points, 8);
KST_AT(kstBarcodeInfo, codeData, 40);
KST_AT(kstBarcodeInfo, codeTypeName, 48);
KST_AT(kstBarcodeInfo, reserved, 56);

KST_SIZE(kstConnectionEvent, 68);
KST_AT(kstConnectionEvent, state, 0);

KST_SIZE(kstIntFeatureInfo, 32);
KST_AT(kstIntFeatureInfo, curValue, 0);
KST_AT(kstIntFeatureInfo, minValue, 8);
KST_AT(kstIntFeatureInfo, maxValue, 16);
KST_AT(kstIntFeatureInfo, incValue, 24);

KST_SIZE(kstFloatFeatureInfo, 56);
KST_AT(kstFloatFeatureInfo, curValue, 0);
KST_AT(kstFloatFeatureInfo, minValue, 8);
KST_AT(kstFloatFeatureInfo, maxValue, 16);
KST_AT(kstFloatFeatureInfo, unit, 24);

KST_SIZE(kstStringFeatureInfo, 260);
KST_AT(kstStringFeatureInfo, maxLen, 0);
KST_AT(kstStringFeatureInfo, curValue, 4);

KST_SIZE(kstEnumEntry, 72);
KST_AT(kstEnumEntry, value, 0);
KST_AT(kstEnumEntry, symbol, 8);
KST_SIZE(kstEnumEntryList, 4616);
KST_AT(kstEnumEntryList, count, 0);
KST_AT(kstEnumEntryList, entries, 8);

#undef KST_AT
#undef KST_SIZE
#undef KST_HOLDS
/** @endcond */

#ifdef __cplusplus
}
#endif

#endif
