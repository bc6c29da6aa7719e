// The POSIX half of CancelSignal.h: an eventfd that polls readable while set.
#include "CancelSignal.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace Vistrel {

CancelSignal::CancelSignal() {
    _waitable = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

CancelSignal::~CancelSignal() {
    if (_waitable >= 0)
        close(static_cast<int>(_waitable));
}

void CancelSignal::set_() {
    const eventfd_t one = 1;
    (void)!write(static_cast<int>(_waitable), &one, sizeof(one));
}

void CancelSignal::reset_() {
    eventfd_t value = 0;
    (void)!read(static_cast<int>(_waitable), &value, sizeof(value));  // non-blocking: empties it
}

}  // namespace Vistrel
