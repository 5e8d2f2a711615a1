#pragma once

#include <ostra/cluster/Group.h>
#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/Resource.h>
#include <programs/support/Context.h>

#include <memory>
#include <string>
#include <vector>

namespace programs {

// The cluster's objects in name order. They belong to the context's cluster.
std::vector<Node*> NodesOf(Context& context);
std::vector<Group*> GroupsOf(Context& context);
std::vector<Resource*> ResourcesOf(Group& group);
std::vector<Network*> NetworksOf(Context& context);
std::vector<NetworkInterface*> InterfacesOf(Context& context);

/// The nodes and groups as objects of its own, in name order, for what only reads: every node that is discovered finds
/// all groups of the cluster, and here one node does it for all.
struct Overview {
    std::vector<std::unique_ptr<Node>> nodes;
    std::vector<Group*> groups;  // a node's
};
Overview ReadOverview(Context& context);

// The object of that name: exactly so, or but for case when just one is meant. Ends the command with the names that
// there are.
Node& FindNode(Context& context, const std::string& name);
/// Several nodes, each named once; ends the command when one is named twice.
std::vector<Node*> FindNodes(Context& context, const std::vector<std::string>& names);
Group& FindGroup(Context& context, const std::string& name);
Resource& FindResource(Context& context, const std::string& name);
Network& FindNetwork(Context& context, const std::string& name);
NetworkInterface& FindInterface(Context& context, const std::string& name);

// What lists and status show of an object; the states are read now.
Json Summary(Node& node);
Json Summary(Group& group);
Json Summary(Resource& resource);
Json Summary(Network& network);
Json Summary(NetworkInterface& networkInterface);

// The present numeric state, as the cluster API has it.
DWORD StateOf(Node& node);
DWORD StateOf(Group& group);
DWORD StateOf(Resource& resource);
DWORD StateOf(Network& network);
DWORD StateOf(NetworkInterface& networkInterface);

/// The names of the resource types, and those that belong to an object: see the CLUSTER_..._ENUM_ bits.
StringArray ResourceTypesOf(Context& context);
StringArray MembersOf(HGROUP group, DWORD types);
StringArray MembersOf(HRESOURCE resource, DWORD types);

/// A map of attributes as a JSON object.
Json ToJson(const StringMap& attributes);
Json ToJson(const StringArray& names);

/// The id of an object by its handle's name, for what only the engine's own side offers.
platform::ObjectId IdOf(Context& context, platform::ObjectKind kind, const std::wstring& name);

}  // namespace programs
