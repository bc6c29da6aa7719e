// One named POSIX shared-memory object, mapped read-write into this process: what named
// blocks and named events are made of on Linux. The object's name is "/" followed by the
// UTF-8 form of the given name (Start_ID becomes /Start_ID in /dev/shm).
//
// Ownership: the object owns its descriptor and mapping (closed and unmapped by the
// destructor). The name outlives every process that holds it until someone removes it: the
// object that created it removes it when it goes (unless disown() was called), nobody else.
// Any thread may use a mapping; the object itself is not synchronised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "VXResult.h"
#include "VXString.h"

class VXSharedMapping {
public:
    enum class Open {
        eCreateExclusive,  // a new object with mode 0600; an existing name is refused (2009, EEXIST)
        eCreateOrOpen,     // a new object with mode 0600, or the existing one as it is
        eOpenExisting,     // only an existing object
    };

    // Mode of the objects this class creates: the owner only.
    static constexpr unsigned kCreateMode = 0600;

    ~VXSharedMapping();
    VXSharedMapping(const VXSharedMapping&) = delete;
    VXSharedMapping& operator=(const VXSharedMapping&) = delete;

    // "/" + UTF-8 of name. An empty name, one with a "/" or NUL, or longer than the system's
    // name limit is refused with 2005.
    static VXResult posixName(const VXString& name, std::string& posixName);

    // Maps `size` bytes of the named object. A new object is sized to `size` (zero-filled);
    // an existing one must already be at least that large (else 2017), since touching pages past
    // its end would fault. On failure `mapping` is left as it was; an object this call created is
    // removed again.
    static VXResult create(const VXString& name, size_t size, Open mode,
                           std::unique_ptr<VXSharedMapping>& mapping);

    // Removes a name (shm_unlink): for the creator's own objects, and for a host clearing what
    // an earlier run of it left behind. Processes that hold the object keep it mapped.
    static VXResult remove(const VXString& name);
    // Removes this object's name now; the mapping stays usable until the object is destroyed.
    VXResult remove();
    // Leaves the name in place when this object goes, although it created it.
    void disown() { _created = false; }

    uint8_t* data() const { return _data; }
    size_t size() const { return _size; }
    // This object made the name (and removes it when it goes).
    bool created() const { return _created; }
    const std::string& posixName() const { return _posixName; }
    // The object's mode bits as the system holds them (for checks).
    VXResult mode(unsigned& mode) const;

private:
    VXSharedMapping() = default;

    std::string _posixName;
    int _fd = -1;
    uint8_t* _data = nullptr;
    size_t _size = 0;
    bool _created = false;
    bool _removed = false;
};
