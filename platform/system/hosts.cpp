#include <platform/system/hosts.h>

#include <platform/base/error_codes.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

namespace platform {

namespace {

namespace files = std::filesystem;

bool IsFolder(const files::path& path) {
    std::error_code ignored;
    return files::is_directory(files::symlink_status(path, ignored));
}

// The folder of that name; else the one that differs in case only.
std::string FindFolder(const files::path& hosts, const std::wstring& name) {
    const files::path exact = hosts / ToUtf8(name);
    if (IsFolder(exact)) return exact.string();
    std::error_code failure;
    for (files::directory_iterator at(hosts, failure), end; !failure && at != end; at.increment(failure)) {
        if (EqualIgnoringCase(FromUtf8(at->path().filename().string()), name) && IsFolder(at->path())) {
            return at->path().string();
        }
    }
    return {};
}

}  // namespace

DWORD FindHost(const wchar_t* name, HostPlace& place) {
    place = {};
    if (!name || !*name) return error::Success;
    std::wstring host = name;
    if (host.starts_with(L"\\\\")) host.erase(0, 2);
    if (!IsSafeFileName(host)) return error::InvalidParameter;
    const std::string folder = FindFolder(files::path(StateDirectory()) / "hosts", host);
    if (folder.empty() && EqualIgnoringCase(host, LocalHostName())) return error::Success;
    if (folder.empty()) return error::BadNetworkPath;
    place = {false, folder};
    return error::Success;
}

const std::wstring& LocalHostName() {
    static const std::wstring& name = *new std::wstring([] {
        char text[256] = {};
        return ::gethostname(text, sizeof text - 1) == 0 ? FromUtf8(text) : std::wstring();
    }());
    return name;
}

const std::wstring& LocalUserName() {
    static const std::wstring& name = *new std::wstring([] {
        passwd entry{};
        passwd* found = nullptr;
        std::vector<char> buffer(16'384);
        const bool isKnown = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found;
        return isKnown ? FromUtf8(found->pw_name) : std::to_wstring(::geteuid());
    }());
    return name;
}

}  // namespace platform
