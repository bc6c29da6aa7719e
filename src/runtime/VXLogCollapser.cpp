#include "VXLogCollapser.h"

#include "VXThreadLocal.h"

namespace {

// The per-thread record of the last message and how often it came.
struct VXLogCollapserData {
    bool present = false;
    VXLogData last;
    int32_t count = 0;
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
    if (!_enabled)
        return VXStatus::eNo;
    VXLogCollapserData& record = tRecord.get();
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
