#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/ResourceType.h>
#include <ostra/wizard/ExpertGroup.h>
#include <tests/ostra/wizard/TemplateCluster.h>

#include <gtest/gtest.h>

using OstraDLL::Cluster;
using tests::Lists;
using tests::Operation;

namespace {

class AClusterWithTemplates : public tests::TemplateCluster {
protected:
    AClusterWithTemplates() { model->Open(1); }

    Lists lists = ForFileShare(L"10.1.1.20", L"39487");
    std::unique_ptr<Cluster> model = std::make_unique<Cluster>(L"Test", 0, 2);
};

TEST_F(AClusterWithTemplates, KeepsTheGroupsItCreatedAlsoWhenTheyAreReplaced) {
    ExpertGroup* created = model->CreateGroup(L"Sales", L"File Share", lists.Pointers(), nullptr);
    EXPECT_EQ(created, model->GroupsPtr()->Find(L"Sales"));
    EXPECT_EQ(0, model->ResourcesPtr()->NumberOfComponents());  // until the cluster tells of them
    EXPECT_EQ(4, created->ResourcesPtr()->NumberOfComponents());
    model->Update(L"Sales", CLUSTER_CHANGE_GROUP_ADDED);
    EXPECT_NE(created, model->GroupsPtr()->Find(L"Sales"));
    EXPECT_EQ(1, created->BringOffLine());
}

TEST_F(AClusterWithTemplates, HandsTheCallerWhatTheClusterRefusedAndRefusesWhatItDoesNotKnow) {
    failing->FailCall(Operation::CreateGroup, 1, platform::error::AccessDenied);
    const std::unique_ptr<ExpertGroup> refused(model->CreateGroup(L"Sales", L"File Share", lists.Pointers(), nullptr));
    ASSERT_NE(nullptr, refused);
    EXPECT_EQ(nullptr, model->GroupsPtr()->Find(L"Sales"));

    EXPECT_TRUE(model->CreateGroup(L"Sales", L"File Share", lists.Pointers(), nullptr));
    failing->ForgetCalls();
    events.Take();
    EXPECT_EQ(nullptr, model->CreateGroup(L"Other", L"file share", lists.Pointers(), nullptr));
    EXPECT_EQ(nullptr, model->ChangeGroup(L"sales", L"File Share", lists.Pointers(), nullptr, nullptr));
    EXPECT_EQ(nullptr, model->ChangeGroup(L"Sales", L"file share", lists.Pointers(), nullptr, nullptr));
    EXPECT_EQ(L"Cluster::ChangeGroup( ). Invalid Expert Group type file share", events.TakeTexts().back());
    EXPECT_EQ(StringArray(), failing->Log());
}

TEST_F(AClusterWithTemplates, ChangesAGroupThroughAnObjectOfTheCallersOwn) {
    ExpertGroup* created = model->CreateGroup(L"Sales", L"File Share", lists.Pointers(), nullptr);
    const StringArray existing = Members(Group(L"Sales"), CLUSTER_GROUP_ENUM_CONTAINS);
    lists.strings[3] = {L"Alias=REG_SZ:/Shop"};
    failing->FailCall(Operation::CreateResource, 1, platform::error::AccessDenied);
    events.Take();
    std::unique_ptr<ExpertGroup> changed(
        model->ChangeGroup(L"Sales", L"IIS Virtual Root", lists.Pointers(), &existing, nullptr));
    EXPECT_EQ(L"Cluster::ChangeGroup( ). Failure creating ExpertGroup:Sales", events.TakeTexts().back());
    EXPECT_TRUE(changed && changed.get() != created);
    changed.reset(model->ChangeGroup(L"Sales", L"IIS Virtual Root", lists.Pointers(), &existing, nullptr));
    EXPECT_EQ(5, created->ResourcesPtr()->NumberOfComponents());
    EXPECT_EQ(created, model->GroupsPtr()->Find(L"Sales"));

    // The cluster's object is gone first; what was made through the other lives as long as that.
    model.reset();
    ::Resource* root = changed->GetResource(L"IIS Virtual Root for Sales of IIS Virtual Root(2)");
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(L"IIS Virtual Root", root->ResType()->Name());
    EXPECT_EQ(0, changed->BringOnLine());  // its connection was the cluster's
}

}  // namespace
