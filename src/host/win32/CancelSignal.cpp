// The Windows half of CancelSignal.h: a manual-reset event the answer wait includes.
#include "CancelSignal.h"

#include <windows.h>

namespace Vistrel {

CancelSignal::CancelSignal() {
    _waitable = reinterpret_cast<intptr_t>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

CancelSignal::~CancelSignal() {
    if (_waitable != 0)
        CloseHandle(reinterpret_cast<HANDLE>(_waitable));
}

void CancelSignal::set_() {
    SetEvent(reinterpret_cast<HANDLE>(_waitable));
}

void CancelSignal::reset_() {
    ResetEvent(reinterpret_cast<HANDLE>(_waitable));
}

}  // namespace Vistrel
