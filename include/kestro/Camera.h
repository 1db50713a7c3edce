// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_CAMERA_H
#define KESTRO_CAMERA_H

#include <kestro/DeviceInfo.h>
#include <kestro/Export.h>
#include <kestro/Frame.h>
#include <kestro/InterfaceInfo.h>
#include <kestro/Result.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace kestro {

class Parameter;

/** A change of a camera's connection; passed to the connection callback. */
struct ConnectEventArg {
    std::int32_t state;         ///< 1 online again, 0 offline
    std::uint8_t reserved[64];  ///< zero
};
static_assert(sizeof(ConnectEventArg) == 68, "the record's layout is part of the interface");

/** A feature whose value changed; passed to the feature-update callback. */
struct ParamUpdateEventArg {
    const char* name;            ///< the feature's name; valid during the call only
    std::uint8_t reserved[256];  ///< zero
};
static_assert(sizeof(ParamUpdateEventArg) == sizeof(void*) + 256,
              "the record's layout is part of the interface");

/**
 * One camera on the network. System::discovery() makes the objects; hold them by shared_ptr.
 *
 * Threads: any, but connect(), disconnect(), startGrabbing(), forceIpAddress() and the operations
 * on configuration files must not run at the same time on one camera. Callbacks run on threads of
 * the library, one at a time for each kind, with no lock held: they may call every operation of the
 * camera. A callback that is replaced or removed while it runs still runs to its end.
 * Errors: operations return a Result and write one log line that says what failed and why. Nothing
 * throws but std::bad_alloc; an exception that leaves a callback is caught and logged.
 */
class KESTRO_API Camera {
 public:
    Camera() {}
    Camera(const Camera&) {}                            ///< @private
    Camera& operator=(const Camera&) { return *this; }  ///< @private
    virtual ~Camera();

    /**
     * Takes control of the camera and starts watching the connection.
     *
     * @return 0 (also when already connected, with a warning), 2 when the camera refused or did not
     *     answer, 9 when it is no GigE Vision camera, 22 when its address is not in the subnet of
     *     the interface it was found on (see forceIpAddress()).
     */
    virtual Result connect() = 0;
    /**
     * Stops grabbing when needed and gives the control back; harmless when not connected. When it
     * returns, no callback of this object runs (unless it was called from one).
     */
    virtual void disconnect() = 0;
    /** True while the camera is under control and answers. */
    virtual bool isConnected() const = 0;

    /**
     * Starts the acquisition.
     *
     * Needs: connected. With a frame callback registered, frames go to it and getFrame() gets none.
     *
     * @param bufferCount  frames that may wait in the library, each as large as the camera's
     *     payload; 1024 at most, 0 or less takes the default (8). When all are waiting, the oldest
     *     is dropped.
     * @return 0, 2 (refused), 8 (already grabbing), 9 (no stream could be made).
     */
    virtual Result startGrabbing(std::int32_t bufferCount) = 0;
    /** Stops the acquisition; when it returns, no frame callback runs (unless called from one). */
    virtual void stopGrabbing() = 0;
    /** True from a successful startGrabbing() to stopGrabbing(), also while the camera is away. */
    virtual bool isGrabbing() const = 0;
    /**
     * Waits for the next finished frame.
     *
     * Needs: grabbing, no frame callback. stopGrabbing() in another thread ends the wait.
     *
     * @param timeoutMs  longest wait in milliseconds; 0 polls.
     * @return the frame; empty when none came in time or it could not be decoded (logged).
     */
    virtual std::shared_ptr<Frame> getFrame(std::uint32_t timeoutMs) = 0;
    /** Drops the frames that are waiting. @return 0, 2, or 9 when not grabbing. */
    virtual Result clearFrameBuffer() = 0;

    /** What the camera says of itself; a DeviceInfoGEV. Empty for a camera of another kind. */
    virtual std::shared_ptr<DeviceInfo> getDeviceInfo() = 0;
    /** The interface through which it is reached; an InterfaceInfoNIC. Empty for another kind. */
    virtual std::shared_ptr<InterfaceInfo> getInterfaceInfo() = 0;
    /**
     * A feature of the camera by name, as an object of the class that its kind calls for: a
     * ParameterInt for a whole number and so on (see ParameterType).
     *
     * Needs: connected.
     *
     * @return empty for a null or empty name, and (logged) for a feature that the camera does not
     *     have, or of a kind that is not served.
     */
    virtual std::shared_ptr<Parameter> getParameter(const char* name) = 0;

    /**
     * Gives the camera another address until its next power cycle, by MAC address, so that it works
     * on a camera in a wrong subnet too. Needs: not connected.
     *
     * @param ip, mask, gateway  dotted IPv4 texts.
     * @return 0, 2 (bad text, no answer), 9 when it is no GigE Vision camera.
     */
    virtual Result forceIpAddress(const char* ip, const char* mask, const char* gateway) = 0;
    /**
     * Writes the camera's GenICam description (XML) to `path`. Needs: connected.
     *
     * @return 0, or 2 without a log line.
     */
    virtual Result downloadGenICamXML(const char* path) = 0;
    /**
     * Saves the camera's configuration to a file: a line of text for each feature that belongs to
     * it. A file that is there is replaced only by a whole one. Needs: connected.
     *
     * @return 0 or 2.
     */
    virtual Result saveDeviceConfig(const char* path) = 0;
    /**
     * Applies a file that saveDeviceConfig() wrote, feature by feature. One that the camera refuses
     * does not keep the others from being applied; each is logged. Needs: connected.
     *
     * @return 0 when everything was applied; 2 when the file could not be read, and also when
     *     single features were refused and the rest was applied.
     */
    virtual Result loadDeviceConfig(const char* path) = 0;

    /**
     * Sets the function that gets every frame; an empty one removes it. Always 0.
     *
     * It runs on the delivery thread of this camera's stream: while it runs, packets are still
     * received, and frames wait in the buffers. When its removal returns, it does not run (unless
     * it was removed from a frame callback).
     */
    virtual Result registerFrameCallback(
        std::function<void(const std::shared_ptr<Frame>&)> callback) = 0;
    /**
     * Sets the function that is told when the camera goes offline, and when it is online again; an
     * empty one removes it. Always 0. What connect() and disconnect() bring about need not be told.
     *
     * Offline is one that no longer answers or takes our orders. Until disconnect(), the library
     * searches it, also at another address, and connects it again; sets again what was set through
     * Parameter and loadDeviceConfig(), in that order, and leaves selectors where they were left;
     * and starts the acquisition again if it ran. Only then it is online. Not repeated are
     * commands, but for UserSetLoad, and what was written to registers by their addresses. Objects
     * stay what they were: this one, its Parameters, delivered frames. While it is offline, what
     * needs the camera fails, and getFrame() waits. With KESTRO_RECONNECT=0 in the environment it
     * stays offline until disconnect() and connect().
     *
     * It runs on the same thread as the feature-update callback. A frame may come before the call
     * that says online.
     */
    virtual Result registerConnectCallback(
        std::function<void(const ConnectEventArg&)> callback) = 0;
    /**
     * Sets the function that is told which features changed; an empty one removes it. Always 0.
     *
     * It is called once for each feature: for one that was written through this library and for
     * those that depend on it; for one that the camera wants asked periodically, when its value has
     * moved; and for the data of the events that the camera sends. Setting a function on a
     * connected camera, and connecting with one set, lists the whole feature tree once: the
     * periodic asking begins with that.
     */
    virtual Result registerParamUpdateCallback(
        std::function<void(const ParamUpdateEventArg&)> callback) = 0;

    /**
     * The text that identifies the camera, "manufacturer:serial" (the MAC address where there is no
     * serial number); at most 63 bytes, valid as long as the camera object lives.
     */
    virtual const char* getKey() const = 0;
};

}  // namespace kestro

#endif
