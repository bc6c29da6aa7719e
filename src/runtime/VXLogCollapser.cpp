#include "VXLogCollapser.h"

#include "VXThreadLocal.h"

namespace {

struct VXLogCollapserData;
void resolve(VXLogCollapserData& record, ILogCollapser::Deliver deliver);

// The per-thread record of the last message and how often it came. A thread that ends
// without a flush still has its held-back repeat delivered, through the last delivery route.
struct VXLogCollapserData {
    VXLogCollapserData() = default;
    VXLogCollapserData(const VXLogCollapserData&) = delete;
    VXLogCollapserData& operator=(const VXLogCollapserData&) = delete;
    ~VXLogCollapserData() {
        if (deliver != nullptr)
            resolve(*this, deliver);
    }

    bool present = false;
    VXLogData last;
    int32_t count = 0;
    ILogCollapser::Deliver deliver = nullptr;
};

VXThreadLocal<VXLogCollapserData> tRecord;

bool sameMessage(const VXLogData& a, const VXLogData& b) {
    return a.level == b.level && a.message == b.message && a.function == b.function && a.file == b.file &&
           a.tag == b.tag;
}

void resolve(VXLogCollapserData& record, ILogCollapser::Deliver deliver) {
    if (!record.present)
        return;
    if (record.count == 2) {
        deliver(record.last);
    } else if (record.count >= 3) {
        VXLogData notice = record.last;
        notice.message = vxFormat(u"The last log message in this thread was repeated %d time(s)\n\t\"%s\"",
                                  record.count - 1, record.last.message);
        deliver(notice);
    }
    record.present = false;
    record.count = 0;
}

}  // namespace

VXResult VXLogCollapser::offer(const VXLogData& data, Deliver deliver) {
    VXLogCollapserData& record = tRecord.get();
    record.deliver = deliver;
    if (!_enabled) {
        // A repeat held back before collapsing was switched off comes before this message.
        resolve(record, deliver);
        return VXStatus::eNo;
    }
    if (record.present && sameMessage(record.last, data)) {
        ++record.count;
        return VXError::eNoError;
    }
    resolve(record, deliver);
    record.present = true;
    record.last = data;
    record.count = 1;
    return VXStatus::eNo;
}

void VXLogCollapser::flush(Deliver deliver) {
    resolve(tRecord.get(), deliver);
}
