#include <platform/cluster/cluster_engines.h>

#include <platform/base/text.h>

#include <dlfcn.h>

#include <map>
#include <mutex>

namespace platform {

namespace {

struct Engines {
    std::mutex mutex;
    std::map<std::wstring, ClusterEngine*> byName;
};

// Never destroyed, and made by the first that asks: engines register themselves while libraries are loaded.
Engines& KnownEngines() {
    static auto& engines = *new Engines;
    return engines;
}

ClusterEngine* FindRegistered(const std::wstring& name) {
    Engines& engines = KnownEngines();
    const std::scoped_lock lock(engines.mutex);
    const auto found = engines.byName.find(name);
    return found == engines.byName.end() ? nullptr : found->second;
}

/// Whether a name may become part of a library's: it comes from a file.
bool IsEngineName(const std::wstring& name) {
    constexpr std::size_t longest = 32;
    return !name.empty() && name.size() <= longest &&
           name.find_first_not_of(L"abcdefghijklmnopqrstuvwxyz0123456789-") == std::wstring::npos;
}

}  // namespace

void RegisterClusterEngine(const std::wstring& name, ClusterEngine* engine) {
    Engines& engines = KnownEngines();
    const std::scoped_lock lock(engines.mutex);
    engines.byName[name] = engine;
}

ClusterEngine* FindClusterEngine(const std::wstring& name) {
    if (ClusterEngine* engine = FindRegistered(name)) return engine;
    if (name == L"embedded") return &BuiltInEngine();
    if (!IsEngineName(name)) return nullptr;
    const std::string library = "libostra-engine-" + ToUtf8(name) + ".so.1";
    if (!dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL)) return nullptr;
    return FindRegistered(name);  // the library stays loaded: the engine lives in it
}

}  // namespace platform
