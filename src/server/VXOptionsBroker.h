// VXOptionsBroker: splits a command line of quoted options ("/key value") into VXOptions,
// and unpacks a "CustomParams" option (name=value&name=value) into its own map.
#pragma once

#include <map>

#include "VXOptions.h"
#include "VXResult.h"
#include "VXString.h"

class VXOptionsBroker {
public:
    // Each option stands in double quotes, opened by a quote and a slash. Leading blanks of
    // the whole input and trailing blanks of each option are removed, nothing else. A value
    // made only of "x" drops its option. The last of repeated options wins.
    VXResult parse(const char16_t* input);
    // Items name=value separated by "&", stored here and as "customParam_" + name options.
    // 2008 for an empty list.
    VXResult parseCustomParams(const char16_t* customParams);

    const VXOptions& getOptions() const { return _options; }
    VXOptions& getOptions() { return _options; }
    const std::map<VXString, VXString>& getCustomParams() const { return _customParams; }

private:
    VXOptions _options;
    std::map<VXString, VXString> _customParams;
};
