#include <platform/base/text.h>
#include <platform/engines/embedded/EmbeddedCluster.h>

// An engine in a library of its own, whose clusters are in memory and begin empty each time that they are opened.

namespace {

class MemoryEngine final : public platform::ClusterEngine {
public:
    DWORD Open(const std::string& directory, std::shared_ptr<platform::ClusterService>& service) override {
        const std::string name = directory.substr(directory.rfind('/') + 1);
        return platform::CreateEmbeddedCluster(platform::FromUtf8(name), service);
    }
    DWORD Create(const std::string&, const std::wstring& name,
                 std::shared_ptr<platform::ClusterService>& service) override {
        return platform::CreateEmbeddedCluster(name, service);
    }
};

[[maybe_unused]] const bool isKnown = [] {
    static MemoryEngine engine;
    platform::RegisterClusterEngine(L"in-memory", &engine);
    return true;
}();

}  // namespace
