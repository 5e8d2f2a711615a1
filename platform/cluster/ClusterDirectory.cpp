#include <platform/cluster/ClusterDirectory.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterFolder.h>
#include <platform/cluster/cluster_engines.h>
#include <platform/store/failures.h>
#include <platform/system/event_log.h>
#include <platform/system/hosts.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <utility>

namespace platform {

namespace {

struct Registration {
    std::wstring name;
    std::shared_ptr<ClusterService> service;
};

struct OpenFolder {
    FileStamp stamp;
    std::weak_ptr<ClusterService> service;
};

struct Directory {
    std::mutex registrationMutex;
    std::map<std::wstring, Registration> registrations;  // by folded name
    std::mutex folderMutex;
    std::map<std::string, OpenFolder> openFolders;  // by path
};

// Never destroyed: clusters may be opened and closed while the process ends.
Directory& TheDirectory() {
    static auto& directory = *new Directory;
    return directory;
}

std::shared_ptr<ClusterService> FindRegistered(const std::wstring& name) {
    Directory& directory = TheDirectory();
    const std::scoped_lock lock(directory.registrationMutex);
    const auto found = directory.registrations.find(FoldCase(name));
    return found == directory.registrations.end() ? nullptr : found->second.service;
}

DWORD OpenWithEngine(const ClusterFolder& folder, std::shared_ptr<ClusterService>& service) {
    ClusterEngine* engine = FindClusterEngine(folder.engine);
    if (engine) return engine->Open(folder.path, service);
    return Fail(error::NotSupported, L"\"%1\" needs an engine that is not installed: %2.", folder.path,
                ToUtf8(folder.engine));
}

DWORD LookForFolder(Directory& directory, const std::wstring& name, std::shared_ptr<ClusterService>& service) {
    ClusterFolder folder;
    if (const DWORD code = FindClusterFolder(name, folder)) return code;
    std::erase_if(directory.openFolders, [](const auto& entry) { return entry.second.service.expired(); });
    const auto known = directory.openFolders.find(folder.path);
    if (known != directory.openFolders.end() && known->second.stamp == folder.stamp)
        if (auto open = known->second.service.lock()) {
            service = std::move(open);
            return error::Success;
        }
    std::shared_ptr<ClusterService> opened;
    if (const DWORD code = OpenWithEngine(folder, opened)) return code;
    directory.openFolders[folder.path] = {folder.stamp, opened};
    service = std::move(opened);
    return error::Success;
}

// A folder that was removed or replaced while its engine opened it is looked for again.
DWORD ResolveFolder(const std::wstring& name, std::shared_ptr<ClusterService>& service) {
    Directory& directory = TheDirectory();
    const std::scoped_lock lock(directory.folderMutex);
    const DWORD code = LookForFolder(directory, name, service);
    return code == error::FileInvalid ? LookForFolder(directory, name, service) : code;
}

/// The cluster that is meant when none is named.
DWORD DefaultName(std::wstring& name) {
    const char* chosen = std::getenv("OSTRA_CLUSTER");
    if (chosen && *chosen) {
        name = FromUtf8(chosen);
        return error::Success;
    }
    const StringArray names = ClusterDirectory::Names();
    if (names.empty()) return error::FileNotFound;
    if (names.size() > 1) return error::InvalidParameter;
    name = names.front();
    return error::Success;
}

// Nothing else is left that could tell of it.
void ReportDeletion(const std::wstring& name) {
    std::wstring text = L"Cluster " + name + L" was deleted by " + LocalUserName();
    if (const std::wstring command = ChangeCommand(); !command.empty()) text += L": " + command;
    const HEVENTSOURCE source = RegisterEventSourceW(nullptr, L"Ostra");
    const wchar_t* const strings[] = {text.c_str()};
    if (source) ReportEventW(source, EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
    if (source) DeregisterEventSource(source);
}

}  // namespace

std::shared_ptr<ClusterService> ClusterDirectory::Register(const std::wstring& name,
                                                           std::shared_ptr<ClusterService> service) {
    Directory& directory = TheDirectory();
    const std::wstring folded = FoldCase(name);
    const std::scoped_lock lock(directory.registrationMutex);
    Registration& entry = directory.registrations[folded];
    const Registration replaced = std::exchange(entry, {name, std::move(service)});
    if (!entry.service) directory.registrations.erase(folded);
    return replaced.service;
}

DWORD ClusterDirectory::Resolve(const std::wstring& name, std::shared_ptr<ClusterService>& service) {
    std::wstring chosen = name;
    if (chosen.empty())
        if (const DWORD code = DefaultName(chosen)) return code;
    if (auto registered = FindRegistered(chosen)) {
        service = std::move(registered);
        return error::Success;
    }
    return ResolveFolder(chosen, service);
}

StringArray ClusterDirectory::Names() {
    std::map<std::wstring, std::wstring> byFolded;
    for (const std::wstring& name : ClusterFolderNames()) byFolded.emplace(FoldCase(name), name);
    Directory& directory = TheDirectory();
    const std::scoped_lock lock(directory.registrationMutex);
    for (const auto& [folded, registration] : directory.registrations) byFolded[folded] = registration.name;
    StringArray names;
    for (const auto& [folded, name] : byFolded) names.push_back(name);
    return names;
}

DWORD ClusterDirectory::Create(const std::wstring& name, const std::wstring& engine,
                               std::shared_ptr<ClusterService>& service,
                               const std::function<DWORD(ClusterService& made)>& fill) {
    if (!IsNewClusterName(name)) return error::InvalidName;
    if (FindRegistered(name)) return error::AlreadyExists;
    ClusterEngine* maker = FindClusterEngine(engine);
    if (!maker) return error::NotSupported;
    const DWORD code = MakeClusterFolder(name, engine, [&](const std::string& directory) {
        std::shared_ptr<ClusterService> unnamed;  // closed before the folder moves to its name
        const DWORD failed = maker->Create(directory, name, unnamed);
        return failed == error::Success && fill ? fill(*unnamed) : failed;
    });
    if (code != error::Success) return code;
    if (const DWORD failed = ResolveFolder(name, service))
        return Fail(error::OutcomeUnknown, L"Cluster \"%1\" was made, but cannot be opened: code %2.", ToUtf8(name),
                    std::to_string(failed));
    return error::Success;
}

DWORD ClusterDirectory::Delete(const std::wstring& name) {
    const DWORD code = RemoveClusterFolder(name);
    if (code == error::Success) ReportDeletion(name);
    return code;
}

}  // namespace platform
