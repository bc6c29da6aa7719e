// Collapses identical consecutive messages of one thread into one repeat notice.
#pragma once

#include <atomic>

#include "VXLog.h"

class VXLogCollapser : public ILogCollapser {
public:
    VXResult offer(const VXLogData& data, Deliver deliver) override;
    void flush(Deliver deliver) override;
    void setEnabled(bool enabled) { _enabled = enabled; }

private:
    std::atomic<bool> _enabled{true};
};
