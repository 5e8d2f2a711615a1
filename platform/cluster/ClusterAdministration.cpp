#include <platform/cluster/ClusterAdministration.h>

#include <mutex>

namespace platform {

namespace {

std::mutex commandMutex;

std::wstring& CommandText() {
    static auto& text = *new std::wstring;
    return text;
}

}  // namespace

void SetChangeCommand(const std::wstring& command) {
    const std::scoped_lock lock(commandMutex);
    CommandText() = command;
}

std::wstring ChangeCommand() {
    const std::scoped_lock lock(commandMutex);
    return CommandText();
}

}  // namespace platform
