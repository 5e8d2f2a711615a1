#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/cluster_api.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

namespace {

using platform::ClusterDirectory;

TEST(AnEngineLibrary, IsLoadedWhenAClusterNamesIt) {
    const tests::TemporaryHome home;
    std::shared_ptr<platform::ClusterService> service;
    ASSERT_EQ(0U, ClusterDirectory::Create(L"Tarn", L"in-memory", service));
    EXPECT_EQ(0U, service->Administration()->AddNode(L"N1"));
    HCLUSTER cluster = OpenCluster(L"tarn");
    HNODE node = OpenClusterNode(cluster, L"N1");
    EXPECT_EQ(0U, PauseClusterNode(node));
    EXPECT_EQ(DWORD{ClusterNodePaused}, GetClusterNodeState(node)) << "the API reaches the service that made the node";
    EXPECT_TRUE(CloseClusterNode(node) && CloseCluster(cluster));

    service = nullptr;
    ASSERT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", service)) << "by its folder, with the engine known by now";
    platform::ObjectId found;
    EXPECT_EQ(platform::error::ClusterNodeNotFound, service->Find(platform::ObjectKind::Node, L"N1", found));
}

}  // namespace
