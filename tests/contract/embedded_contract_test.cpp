#include <platform/cluster/ClusterDirectory.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <tests/contract/ClusterServiceContract.h>

#include <gtest/gtest.h>

using namespace platform;

namespace {

std::shared_ptr<ClusterService> InMemory(const std::wstring& name) {
    std::shared_ptr<ClusterService> service;
    EXPECT_EQ(0U, CreateEmbeddedCluster(name, service));
    return service;
}

std::shared_ptr<ClusterService> InAFile(const std::wstring& name) {
    std::shared_ptr<ClusterService> service;
    EXPECT_EQ(0U, ClusterDirectory::Create(name, L"embedded", service));
    return service;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Embedded, ClusterServiceContract,
                         testing::Values(EngineMaker{"InMemory", InMemory}, EngineMaker{"InAFile", InAFile}),
                         [](const auto& engine) { return engine.param.name; });
