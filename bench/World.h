#pragma once

#include <bench/large_cluster.h>
#include <platform/base/output.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ClusterService.h>
#include <platform/engines/embedded/EmbeddedCluster.h>

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace bench {

class NoOutput final : public platform::OutputSink {
public:
    void Write(std::wstring_view) override {}
};

/// A state directory of its own and the cluster "bench", on disk or in memory, with what `fill` puts into it.
class World {
public:
    explicit World(bool isOnDisk, DWORD (*fill)(platform::ClusterService&) = &FillCluster)
        : _before(platform::SetOutputSink(&_sink)) {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostra-bench.XXXXXX").string();
        _home = mkdtemp(pattern.data());
        setenv("OSTRA_HOME", _home.c_str(), 1);
        DWORD code = isOnDisk ? platform::ClusterDirectory::Create(L"bench", L"embedded", service)
                              : platform::CreateEmbeddedCluster(L"bench", service);
        if (!code && !isOnDisk) platform::ClusterDirectory::Register(L"bench", service);
        if (!code) code = fill(*service);
        isReady = code == 0;
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World() {
        platform::ClusterDirectory::Register(L"bench", nullptr);
        service.reset();
        platform::SetOutputSink(_before);
        std::filesystem::remove_all(_home);
    }
    const std::string& Home() const { return _home; }

    std::shared_ptr<platform::ClusterService> service;
    bool isReady = false;

private:
    NoOutput _sink;
    platform::OutputSink* _before;
    std::string _home;
};

}  // namespace bench
