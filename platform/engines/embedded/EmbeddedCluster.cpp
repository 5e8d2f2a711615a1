#include <platform/engines/embedded/EmbeddedCluster.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/cluster_engines.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/cluster_schema.h>

namespace platform {

namespace {

using embedded::ClusterSchema;
using embedded::ClusterStore;
using embedded::EmbeddedClusterService;

DWORD Serve(DWORD code, std::unique_ptr<ClusterStore> store, std::shared_ptr<ClusterService>& service) {
    if (code == error::Success) service = std::make_shared<EmbeddedClusterService>(std::move(store));
    return code;
}

class Engine final : public ClusterEngine {
public:
    DWORD Open(const std::string& directory, std::shared_ptr<ClusterService>& service) override {
        std::unique_ptr<Database> database;
        std::unique_ptr<ClusterStore> store;
        DWORD code = Database::Open(FileOf(directory), ClusterSchema(), OpenMode::MustExist, database);
        if (code == error::Success) code = ClusterStore::Open(std::move(database), store);
        return Serve(code, std::move(store), service);
    }

    DWORD Create(const std::string& directory, const std::wstring& name,
                 std::shared_ptr<ClusterService>& service) override {
        if (!embedded::IsObjectName(name)) return error::InvalidName;
        std::unique_ptr<Database> database;
        std::unique_ptr<ClusterStore> store;
        DWORD code = Database::Open(FileOf(directory), ClusterSchema(), OpenMode::CreateIfMissing, database);
        if (code == error::Success) code = ClusterStore::Create(std::move(database), name, store);
        return Serve(code, std::move(store), service);
    }

private:
    static std::string FileOf(const std::string& directory) { return directory + "/cluster.db"; }
};

}  // namespace

ClusterEngine& EmbeddedEngine() {
    static Engine* const engine = new Engine;  // outlives every static object that may still use it
    return *engine;
}

ClusterEngine& BuiltInEngine() {
    return EmbeddedEngine();
}

DWORD CreateEmbeddedCluster(const std::wstring& name, std::shared_ptr<ClusterService>& service) {
    if (!embedded::IsObjectName(name)) return error::InvalidName;
    std::unique_ptr<Database> database;
    std::unique_ptr<ClusterStore> store;
    DWORD code = Database::OpenMemory(ClusterSchema(), database);
    if (code == error::Success) code = ClusterStore::Create(std::move(database), name, store);
    return Serve(code, std::move(store), service);
}

}  // namespace platform
