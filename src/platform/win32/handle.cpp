#include "platform/win32/handle.h"

#include <windows.h>

namespace platform {

void HandleCloser::operator()(void* handle) const {
    CloseHandle(handle);
}

UniqueHandle ownHandle(void* handle) {
    return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace platform
