#include <platform/system/message_box.h>

#include <atomic>

namespace {
std::atomic<platform::MessageBoxHandler*> currentHandler = nullptr;
}

int MessageBoxW(void*, const wchar_t* text, const wchar_t* title, UINT style) {
    platform::MessageBoxHandler* handler = currentHandler.load();
    return handler ? handler->Show(text ? text : L"", title ? title : L"", style) : IDOK;
}

namespace platform {

MessageBoxHandler::~MessageBoxHandler() = default;

MessageBoxHandler* SetMessageBoxHandler(MessageBoxHandler* handler) {
    return currentHandler.exchange(handler);
}

}  // namespace platform
