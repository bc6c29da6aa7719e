#include "VXOptions.h"

#include <new>

#include "VXChecks.h"

VXResult VXOptions::set(const VXString& key, const VXString& value, bool overwrite) {
    try {
        const auto found = _values.find(key);
        if (found == _values.end()) {
            _values.emplace(key, value);
        } else if (overwrite) {
            found->second = value;
        } else {
            return VXError::eExists;
        }
    } catch (const std::bad_alloc&) {
        return VX_ERROR(VXError::eNoMemory, u"Error returned");
    }
    return VXError::eNoError;
}

VXResult VXOptions::getString(const VXString& key, VXString& value) const {
    const auto found = _values.find(key);
    if (found == _values.end())
        return VXError::eNotFound;
    value = found->second;
    return VXError::eNoError;
}

bool VXOptions::has(const VXString& key) const {
    return _values.find(key) != _values.end();
}
