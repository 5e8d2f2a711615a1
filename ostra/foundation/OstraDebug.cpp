#include <ostra/foundation/OstraDebug.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/little_endian.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/system/registry.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <filesystem>
#include <map>
#include <mutex>

namespace {

constexpr std::size_t nameLimit = 259;

// The row of a component is its bit in the mask.
constexpr std::array<std::wstring_view, 11> components = {L"mod0", L"ostra", L"mod2", L"mod3", L"mod4", L"mod5",
                                                          L"mod6", L"mod7",  L"mod8", L"mod9", L"mod10"};

std::wstring_view FileNameOf(std::wstring_view path) {
    if (path.size() > 1 && path[1] == L':') path.remove_prefix(2);
    const auto isSlash = [](wchar_t character) { return character == L'/' || character == L'\\'; };
    const auto slash = std::find_if(path.rbegin(), path.rend(), isSlash);
    path.remove_prefix(static_cast<std::size_t>(path.rend() - slash));
    return platform::CutToUnits(path.substr(0, path.rfind(L'.')), nameLimit);
}

/// A log that objects of this process write to, or have written to.
struct Log {
    std::weak_ptr<std::FILE> file;
    std::string path;
};

bool IsInPlace(std::FILE* file, const std::string& path) {
    struct stat opened {};
    struct stat placed {};
    return fstat(fileno(file), &opened) == 0 && stat(path.c_str(), &placed) == 0 && opened.st_dev == placed.st_dev &&
           opened.st_ino == placed.st_ino;
}

/// Where a component's log is: a file that is there under any spelling of the name, else one of this spelling.
std::string LogPath(const std::string& directory, std::wstring_view componentName) {
    const std::wstring name = std::wstring(componentName) + L".log";
    std::string found;  // the same one for every process: of several, the first
    std::error_code failure;
    for (std::filesystem::directory_iterator at(directory, failure), end; !failure && at != end;
         at.increment(failure)) {
        std::string other = at->path().filename().string();
        if (platform::EqualIgnoringCase(platform::FromUtf8(other), name) && (found.empty() || other < found))
            found = std::move(other);
    }
    return directory + "/" + (found.empty() ? platform::ToUtf8(name) : found);
}

std::shared_ptr<std::FILE> OpenForLines(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    const bool isFile = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    std::FILE* file = isFile ? fdopen(descriptor, "a+") : nullptr;  // writing to a pipe might block for ever
    if (!file) {
        close(descriptor);
        return nullptr;
    }
    std::setvbuf(file, nullptr, _IONBF, 0);  // each line goes out whole, in one write
    return {file, [](std::FILE* last) { std::fclose(last); }};
}

/// The open log of a component; null when it cannot be opened.
std::shared_ptr<std::FILE> OpenLog(std::wstring_view componentName) {
    if (platform::IsRegistryRehearsed()) return nullptr;  // what is rehearsed has not happened
    const std::string directory = platform::EnsureStateDirectory("log");
    if (directory.empty()) return nullptr;
    static std::mutex& mutex = *new std::mutex;
    static auto& logs = *new std::map<std::string, Log>;
    const std::scoped_lock lock(mutex);
    Log& log = logs[directory + "/" + platform::ToUtf8(platform::FoldCase(componentName))];
    std::shared_ptr<std::FILE> file = log.file.lock();
    if (file && IsInPlace(file.get(), log.path)) return file;
    log.path = LogPath(directory, componentName);
    file = OpenForLines(log.path);
    log.file = file;
    return file;
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
    thread_local platform::RegistryVersion known;
    thread_local DWORD mask = 0;
    platform::RegistryVersion version;
    if (platform::ReadRegistryVersion(version) != platform::error::Success) return 0;
    if (version == known) return mask;
    const platform::KeptLastError kept;  // without a mask nothing has failed
    const auto status = static_cast<DWORD>(ReadMask(mask));
    const bool isSettled = status == platform::error::Success || status == platform::error::FileNotFound ||
                           status == platform::error::MoreData;
    known = isSettled ? version : platform::RegistryVersion();  // a registry that was busy is asked again
    return mask;
}

/// The form of asctime, without its line end.
std::wstring TimeStamp() {
    const TimeValue now = platform::CurrentTime();
    return platform::FormatTime(now, L"%a %b") + platform::Format(L"%3d", platform::LocalTime(now).tm_mday) +
           platform::FormatTime(now, L" %H:%M:%S %Y");
}

}  // namespace

OstraDebug::OstraDebug(std::wstring_view path) {
    const std::wstring_view componentName = FileNameOf(path);
    _enabled = IsDebugEnabled(componentName);
    if (_enabled) _fp = OpenLog(componentName);
}

bool OstraDebug::IsDebugEnabled(std::wstring_view componentName) {
    const auto row = std::find_if(components.begin(), components.end(), [=](std::wstring_view component) {
        return component.size() == componentName.size() && platform::EqualIgnoringCase(component, componentName);
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
