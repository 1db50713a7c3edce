// SPDX-License-Identifier: Apache-2.0
#ifndef KESTRO_PARAMETER_H
#define KESTRO_PARAMETER_H

#include <kestro/Export.h>
#include <kestro/Result.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kestro {

class Camera;
class ParameterImpl;

/** What kind of feature it is, and so which class serves it. */
enum class ParameterType : std::uint32_t {
    Unknown = 0,  ///< the camera has no such feature, or of a kind that is not served
    Int = 1,      ///< ParameterInt
    Float = 2,    ///< ParameterFloat
    Enum = 3,     ///< ParameterEnum
    Bool = 4,     ///< ParameterBool
    String = 5,   ///< ParameterString
    Command = 6,  ///< ParameterCommand
    Group = 7     ///< ParameterGroup
};

/** For whom a feature is meant: GenICam's levels. */
enum class ParameterVisibility : std::uint32_t {
    Beginner = 0,
    Expert = 1,
    Guru = 2,
    Invisible = 3,
    Unknown = 255  ///< the camera has no such feature
};

/**
 * A feature of a camera by name: a light handle that holds no value.
 *
 * Every operation asks the camera anew. A handle may outlive the connection: questions then get the
 * neutral answer (false, 0, Unknown), and everything else fails with 2. One that was made from an
 * empty camera pointer stays like that.
 *
 * Threads: any; operations on one camera's features wait for each other.
 * Errors: an operation that returns a Result gives 2 when the camera or the checks made before a
 * write refuse, also when the feature is of another kind than the class, and writes one log line
 * that says why. Questions do not log. What a failed operation leaves in its outputs is not to be
 * used. Nothing throws but std::bad_alloc.
 */
class KESTRO_API Parameter {
 public:
    /**
     * Any feature, whatever its kind. Camera::getParameter() makes the class that fits the kind.
     *
     * @param name  copied; null is the empty name, which no camera has.
     */
    Parameter(const std::shared_ptr<Camera>& camera, const char* name);
    Parameter(const Parameter&) = delete;
    Parameter& operator=(const Parameter&) = delete;
    virtual ~Parameter();

    /** True when the camera is connected and has the feature. */
    virtual bool isValid() const;
    /** The name as given; valid as long as this object. */
    const char* getName() const;
    /** What kind it is; Unknown also when the camera is not connected. */
    ParameterType getType() const;
    /** For whom it is meant; Unknown also when the camera is not connected. */
    ParameterVisibility getVisibility() const;
    /**
     * Bit 0 (1) available, bit 1 (2) readable, bit 2 (4) writable, as the camera is at this moment.
     * 0 for a feature that is not available, whatever it would be otherwise.
     */
    unsigned getAccessibility() const;
    /** Bit 0 of getAccessibility(): it is there at this moment. */
    bool isAvailable() const;
    /** Bit 1 of getAccessibility(): it can be read at this moment. */
    bool isReadable() const;
    /** Bit 2 of getAccessibility(): it can be written at this moment. */
    bool isWritable() const;
    /** Appends the names of the features whose values choose what this one stands for. 0 or 2. */
    Result getSelectors(std::vector<std::string>& names) const;

 protected:
    /** @private Takes the implementation over. */
    explicit Parameter(ParameterImpl* impl);

    ParameterImpl* impl_;  ///< @private
};

/** A whole number. */
class KESTRO_API ParameterInt : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterInt(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterInt() override;

    /** The value at this moment. */
    Result getValue(std::int64_t& value) const;
    /** Refused when out of range, off the increment, locked or not writable: nothing is written. */
    Result setValue(std::int64_t value);
    /** The limits at this moment; they may depend on other features. */
    Result getRange(std::int64_t& min, std::int64_t& max) const;
    /** Values are `min` plus a multiple of it; at least 1. */
    Result getIncrement(std::int64_t& inc) const;
};

/** A floating-point number. */
class KESTRO_API ParameterFloat : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterFloat(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterFloat() override;

    /** The value at this moment. */
    Result getValue(double& value) const;
    /** Refused when out of range, not a number, locked or not writable: nothing is written. */
    Result setValue(double value);
    /** The limits at this moment; where the camera sets none, the largest doubles there are. */
    Result getRange(double& min, double& max) const;
    /** The unit in UTF-8, "us"; empty when the camera gives none. */
    Result getUnit(std::string& unit) const;
};

/** One of a list of named values. */
class KESTRO_API ParameterEnum : public Parameter {
 public:
    /** One of the values. */
    struct Entry {
        std::uint64_t value;      ///< its number
        std::string symbol;       ///< its name, at most 63 bytes
        std::string description;  ///< what the camera says of it, at most 255 bytes; may be empty
    };

    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterEnum(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterEnum() override;

    /** The number of the current value. */
    Result getValue(std::uint64_t& value) const;
    /** The symbol of the current value. @return 0, 2, or 5 when no entry has the value. */
    Result getValue(std::string& symbol) const;
    /** Refused when no entry of that number can be chosen at this moment: nothing is written. */
    Result setValue(std::uint64_t value);
    /** Refused when no entry of that symbol can be chosen at this moment: nothing is written. */
    Result setValue(const std::string& symbol);
    /** Appends the entries, in the order of the camera's description. */
    Result getEntryList(std::vector<Entry>& entries) const;
};

/** A switch: true or false. */
class KESTRO_API ParameterBool : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterBool(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterBool() override;

    /** The value at this moment. */
    Result getValue(bool& value) const;
    /** Refused when locked or not writable: nothing is written. */
    Result setValue(bool value);
};

/** A text. */
class KESTRO_API ParameterString : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterString(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterString() override;

    /** The value at this moment. */
    Result getValue(std::string& value) const;
    /** Refused when longer than getMaxLength(): nothing is written. */
    Result setValue(const std::string& value);
    /** The longest text in bytes, a terminating NUL not counted. */
    Result getMaxLength(unsigned& maxLen) const;
};

/** Something that the camera can be told to do. */
class KESTRO_API ParameterCommand : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterCommand(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterCommand() override;

    /** Starts the command; does not wait until the camera has carried it out. */
    Result execute();
};

/** A category of features; "Root" holds them all. It keeps its Camera object alive. */
class KESTRO_API ParameterGroup : public Parameter {
 public:
    /** Does not ask the camera; each operation fails when the feature is of another kind. */
    ParameterGroup(const std::shared_ptr<Camera>& camera, const char* name);
    ~ParameterGroup() override;

    /** Appends the names of what the group holds, in the order of the camera's description. */
    Result getChildren(std::vector<std::string>& names);
    /** Appends an object for each; one of a kind that is not served is left out (and logged). */
    Result getChildren(std::vector<std::shared_ptr<Parameter>>& children);
};

/**
 * A place in the camera's register and memory space, by address. It has no name and no kind.
 *
 * Nothing checks the address: what is written there is written, whatever the features say.
 *
 * @par Codes  0, 2 (not connected, or the camera refused or did not answer; the log line says
 * which), 3 (`buffer` is null and `length` is not 0), 9 (the camera was none whose registers can be
 * reached when this object was made; nothing is logged).
 */
class KESTRO_API ParameterRegister : public Parameter {
 public:
    /** Does not ask the camera. */
    ParameterRegister(const std::shared_ptr<Camera>& camera, std::uint64_t address);

    /** True when registers can be reached and the address is not 0; does not ask the camera. */
    bool isValid() const override;
    /** A register of 4 bytes, which holds its value in network byte order. */
    Result getValue(int& value) const;
    /** Writes such a register. */
    Result setValue(int value);
    /**
     * Memory as it lies in the camera, read in requests of 16 to 512 bytes: up to 15 bytes behind
     * the last are read too. On failure, the bytes of the requests before it are there.
     */
    Result getValue(std::uint8_t* buffer, unsigned length) const;
    /**
     * Writes in requests of at most 512 bytes. The last is filled up with zeros to 16 bytes, which
     * go over whatever follows there.
     */
    Result setValue(const std::uint8_t* buffer, unsigned length);
};

}  // namespace kestro

#endif
