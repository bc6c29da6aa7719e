// The server's command line as a host (or anyone) might pass it: any UTF-16 text.
#include <cstring>
#include <vector>

#include "VXOptionsBroker.h"
#include "VistrelExchange.h"
#include "VistrelParams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Some inputs read as quoted options, the rest as raw code units.
    std::vector<char16_t> text(size / 2 + 1, u'\0');
    if (size >= 2)
        std::memcpy(text.data(), data, size / 2 * 2);
    for (char16_t& c : text) {
        if (c != 0 && (c & 0xFF00) == 0xFF00)
            c = static_cast<char16_t>(u"\" /crgutx,-0123456789&="[c % 23]);
    }
    VXOptionsBroker broker;
    broker.parse(text.data());
    std::shared_ptr<Vistrel::Params> params;
    Vistrel::Params::create(text.data(), Vistrel::kEventStartPrefix, Vistrel::kEventCompletedPrefix,
                            Vistrel::kExclWndsPrefix, Vistrel::kCaptureCursorPrefix, Vistrel::kImagePrefix,
                            Vistrel::kWaitResultPrefix, Vistrel::kResultPrefix, params);
    if (params)
        Vistrel::imageBlockSize(params->captureRect);
    return 0;
}
