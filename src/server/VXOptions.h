// VXOptions: an ordered key/value store of option texts. Keys are unique and compared
// exactly (no case folding); only exact lookup matters to the server.
#pragma once

#include <cstddef>
#include <map>

#include "VXResult.h"
#include "VXString.h"

class VXOptions {
public:
    // 2009 and no change when the key exists and overwrite is false.
    VXResult set(const VXString& key, const VXString& value, bool overwrite = true);
    // 2008, value untouched, when the key is absent.
    VXResult getString(const VXString& key, VXString& value) const;
    bool has(const VXString& key) const;
    size_t count() const { return _values.size(); }
    void clear() { _values.clear(); }
    const std::map<VXString, VXString>& values() const { return _values; }

private:
    std::map<VXString, VXString> _values;
};
