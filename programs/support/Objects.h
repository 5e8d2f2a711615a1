#pragma once

#include <ostra/cluster/Group.h>
#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/Resource.h>
#include <programs/support/Context.h>

#include <functional>
#include <string>
#include <vector>

namespace programs {

// What cannot be read ends the command, here and below; but for the library's own reading, which RequireRead is for.

/// The names of the cluster's objects of one kind, a bit of CLUSTER_ENUM_..., in name order.
StringArray NamesOf(Context& context, DWORD type);

// Each object, open, in name order. A cluster may have thousands: only the one that is visited lives, and nothing of it
// afterwards. What goes away meanwhile is left out.
void ForEachNode(Context& context, const std::function<void(Node&)>& visit);
void ForEachGroup(Context& context, const std::function<void(Group&)>& visit);
void ForEachResource(Context& context, const std::function<void(Resource&)>& visit);
void ForEachResourceOf(Context& context, const Group& group, const std::function<void(Resource&)>& visit);

// In name order. They belong to the context's cluster.
std::vector<Network*> NetworksOf(Context& context);
std::vector<NetworkInterface*> InterfacesOf(Context& context);

// The object of that name in any case, open, and without what belongs to it; the context's until ForgetCluster. Ends
// the command with the names that there are.
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

/// The names of what belongs to an object: see the CLUSTER_..._ENUM_ bits.
StringArray MembersOf(HGROUP group, DWORD types);
StringArray MembersOf(HRESOURCE resource, DWORD types);

/// A map of attributes as a JSON object.
Json ToJson(const StringMap& attributes);
Json ToJson(const StringArray& names);

/// The id of an object by its handle's name, for what only the engine's own side offers.
platform::ObjectId IdOf(Context& context, platform::ObjectKind kind, const std::wstring& name);

}  // namespace programs
