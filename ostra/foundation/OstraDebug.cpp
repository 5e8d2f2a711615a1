#include <ostra/foundation/OstraDebug.h>

#include <ostra/foundation/SharedObjects.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/little_endian.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/system/registry.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <mutex>

namespace {

constexpr std::size_t nameLimit = 259;

// The row of a component is its bit in the mask.
constexpr std::array<std::wstring_view, 11> components = {L"mod0", L"ostra", L"mod2", L"mod3", L"mod4", L"mod5",
                                                          L"mod6", L"mod7",  L"mod8", L"mod9", L"mod10"};

std::wstring_view FileNameOf(std::wstring_view path) {
    if (path.size() > 1 && path[1] == L':') path.remove_prefix(2);
    const std::size_t slash = path.find_last_of(L"/\\");
    if (slash != std::wstring_view::npos) path.remove_prefix(slash + 1);
    return platform::CutToUnits(path.substr(0, path.rfind(L'.')), nameLimit);
}

/// The open log of a component; null when it cannot be opened.
std::shared_ptr<std::FILE> OpenLog(std::wstring_view componentName) {
    if (platform::IsRegistryRehearsed()) return nullptr;  // what is rehearsed has not happened
    static auto& logs = *new SharedObjects<std::FILE>;
    const std::string directory = platform::EnsureStateDirectory("log");
    if (directory.empty()) return nullptr;
    const std::string path = directory + "/" + platform::ToUtf8(componentName) + ".log";
    return logs.Get(platform::FromUtf8(path), [&]() -> std::shared_ptr<std::FILE> {
        const int descriptor = open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        if (descriptor < 0) return nullptr;
        std::FILE* file = fdopen(descriptor, "a+");
        if (!file) {
            close(descriptor);
            return nullptr;
        }
        std::setvbuf(file, nullptr, _IONBF, 0);  // each line goes out whole, in one write
        return {file, [](std::FILE* last) { std::fclose(last); }};
    });
}

/// The code of the first call that failed, and then no bit is set.
LONG ReadMask(DWORD& mask) {
    mask = 0;
    HKEY key = nullptr;
    if (const LONG status =
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Norvane\\Ostra\\OstraDebug", 0, KEY_ALL_ACCESS, &key))
        return status;
    BYTE bytes[4] = {};
    DWORD size = sizeof bytes;
    const LONG status = RegQueryValueExW(key, L"DebugMask", nullptr, nullptr, bytes, &size);
    RegCloseKey(key);
    if (status == 0) mask = platform::NumberAt(bytes);
    return status;
}

/// The mask of the registry as it is now, read again only when the registry has changed.
DWORD CurrentMask() {
    static std::mutex& mutex = *new std::mutex;
    static platform::RegistryVersion known;
    static DWORD knownMask = 0;
    platform::RegistryVersion version;
    if (platform::ReadRegistryVersion(version) != platform::error::Success) return 0;
    const std::scoped_lock lock(mutex);
    if (version == known) return knownMask;
    const auto status = static_cast<DWORD>(ReadMask(knownMask));
    const bool isSettled = status == platform::error::Success || status == platform::error::FileNotFound ||
                           status == platform::error::MoreData;
    known = isSettled ? version : platform::RegistryVersion();  // a registry that was busy is asked again
    return knownMask;
}

/// The form of asctime, without its line end.
std::wstring TimeStamp() {
    const TimeValue now = platform::CurrentTime();
    return platform::FormatTime(now, L"%a %b") + platform::Format(L"%3d", platform::LocalTime(now).tm_mday) +
           platform::FormatTime(now, L" %H:%M:%S %Y");
}

}  // namespace

OstraDebug::OstraDebug(std::wstring_view path) : _enabled(IsDebugEnabled(FileNameOf(path))) {
    if (_enabled) _fp = OpenLog(FileNameOf(path));
}

bool OstraDebug::IsDebugEnabled(std::wstring_view componentName) {
    const auto row = std::find_if(components.begin(), components.end(), [=](std::wstring_view component) {
        return platform::EqualIgnoringCase(component, componentName);
    });
    if (row == components.end()) return false;
    return (CurrentMask() >> (row - components.begin()) & 1) != 0;
}

void OstraDebug::DbgEnter(const wchar_t* functionName) const {
    DbgLog(L"*** Enter: %s ***", functionName);
}

void OstraDebug::DbgExit(const wchar_t* functionName) const {
    DbgLog(L"*** Exit: %s ***\n", functionName);
}

void OstraDebug::DbgLog(const wchar_t* format, ...) const {
    if (!_enabled || !_fp) return;
    std::va_list arguments;
    va_start(arguments, format);
    const std::wstring text = platform::FormatArguments(format, arguments);
    va_end(arguments);
    const std::string line = platform::ToUtf8(L"<" + TimeStamp() + L"> " + text + L"\n");
    std::fwrite(line.data(), 1, line.size(), _fp.get());
}
