#pragma once

#include <gtest/gtest.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <platform/store/KeyStore.h>

#include <memory>
#include <string>

namespace tests {

/// A cluster, in memory, of which a test needs nothing but the database.
class DatabaseCluster : public platform::ForwardingClusterService {
public:
    DatabaseCluster() : ForwardingClusterService(Empty()) {}

    /// The key at the path below the root, made when it is missing.
    platform::KeyId Make(const std::wstring& path) {
        platform::ClusterKeyId root = 0;
        platform::ClusterKeyId key = 0;
        bool created = false;
        EXPECT_EQ(0U, RootKey(root));
        EXPECT_EQ(0U, CreateKey(root, path, false, key, created));
        return key;
    }

    DatabaseCluster* const store = this;

private:
    static std::shared_ptr<ClusterService> Empty() {
        std::shared_ptr<ClusterService> cluster;
        EXPECT_EQ(0U, platform::CreateEmbeddedCluster(L"Database", cluster));
        return cluster;
    }
};

}  // namespace tests
