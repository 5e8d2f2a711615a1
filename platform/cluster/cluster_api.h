#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

// The cluster API under its published names. Names are null-terminated wide texts of at most 1024 characters (87). A
// name size counts characters, on entry the room including the null, on return the length without it; with 234 it is
// the room that the name needs, and so it is with 0 when the buffer is null. A function that returns a handle answers
// null on failure; one that returns a DWORD answers a code of platform/base/error_codes.h, 0 for success, and 997
// (pending) when the cluster accepted and has not settled yet. Every code but 0, 234 and 259 (the end of a list) is in
// the thread's last error as well, which success leaves alone.
// Handles follow their object through a rename, stay valid when the cluster's own handle closes first, and are closed
// once each; a handle that is not open answers 6 (invalid handle). Functions may be called from any thread.

// Object kinds of ClusterOpenEnum, and what it reports for each item.
inline constexpr DWORD CLUSTER_ENUM_NODE = 1;
inline constexpr DWORD CLUSTER_ENUM_RESTYPE = 2;
inline constexpr DWORD CLUSTER_ENUM_RESOURCE = 4;
inline constexpr DWORD CLUSTER_ENUM_GROUP = 8;
inline constexpr DWORD CLUSTER_ENUM_NETWORK = 16;
inline constexpr DWORD CLUSTER_ENUM_NETINTERFACE = 32;

inline constexpr DWORD CLUSTER_GROUP_ENUM_CONTAINS = 1;     // a group's resources
inline constexpr DWORD CLUSTER_GROUP_ENUM_NODES = 2;        // its preferred owners, in order
inline constexpr DWORD CLUSTER_RESOURCE_ENUM_DEPENDS = 1;   // the resources it depends on
inline constexpr DWORD CLUSTER_RESOURCE_ENUM_PROVIDES = 2;  // the resources that depend on it
inline constexpr DWORD CLUSTER_RESOURCE_ENUM_NODES = 4;     // its possible owners
inline constexpr DWORD CLUSTER_NETWORK_ENUM_NETINTERFACES = 16;

// States. Any other value means that the state could not be read.
inline constexpr DWORD ClusterStateUnknown = 0xFFFFFFFF;
enum CLUSTER_NODE_STATE : DWORD { ClusterNodeUp, ClusterNodeDown, ClusterNodePaused, ClusterNodeJoining };
enum CLUSTER_GROUP_STATE : DWORD {
    ClusterGroupOnline,
    ClusterGroupOffline,
    ClusterGroupFailed,
    ClusterGroupPartialOnline,
    ClusterGroupPending
};
enum CLUSTER_RESOURCE_STATE : DWORD {
    ClusterResourceInherited = 0,
    ClusterResourceInitializing = 1,
    ClusterResourceOnline = 2,
    ClusterResourceOffline = 3,
    ClusterResourceFailed = 4,
    ClusterResourcePending = 128,
    ClusterResourceOnlinePending = 129,
    ClusterResourceOfflinePending = 130
};
enum CLUSTER_NETWORK_STATE : DWORD {
    ClusterNetworkUnavailable,
    ClusterNetworkDown,
    ClusterNetworkPartitioned,
    ClusterNetworkUp
};
enum CLUSTER_NETINTERFACE_STATE : DWORD {
    ClusterNetInterfaceUnavailable,
    ClusterNetInterfaceFailed,
    ClusterNetInterfaceUnreachable,
    ClusterNetInterfaceUp
};

// Notification codes of the changes that programs feed to the object model.
inline constexpr DWORD CLUSTER_CHANGE_NODE_STATE = 0x00000001;
inline constexpr DWORD CLUSTER_CHANGE_NODE_DELETED = 0x00000002;
inline constexpr DWORD CLUSTER_CHANGE_NODE_ADDED = 0x00000004;
inline constexpr DWORD CLUSTER_CHANGE_NODE_PROPERTY = 0x00000008;
inline constexpr DWORD CLUSTER_CHANGE_REGISTRY_NAME = 0x00000010;
inline constexpr DWORD CLUSTER_CHANGE_REGISTRY_VALUE = 0x00000040;
inline constexpr DWORD CLUSTER_CHANGE_RESOURCE_STATE = 0x00000100;
inline constexpr DWORD CLUSTER_CHANGE_RESOURCE_DELETED = 0x00000200;
inline constexpr DWORD CLUSTER_CHANGE_RESOURCE_ADDED = 0x00000400;
inline constexpr DWORD CLUSTER_CHANGE_RESOURCE_PROPERTY = 0x00000800;
inline constexpr DWORD CLUSTER_CHANGE_GROUP_STATE = 0x00001000;
inline constexpr DWORD CLUSTER_CHANGE_GROUP_DELETED = 0x00002000;
inline constexpr DWORD CLUSTER_CHANGE_GROUP_ADDED = 0x00004000;
inline constexpr DWORD CLUSTER_CHANGE_GROUP_PROPERTY = 0x00008000;
inline constexpr DWORD CLUSTER_CHANGE_NETWORK_STATE = 0x00100000;
inline constexpr DWORD CLUSTER_CHANGE_NETWORK_DELETED = 0x00200000;
inline constexpr DWORD CLUSTER_CHANGE_NETWORK_ADDED = 0x00400000;
inline constexpr DWORD CLUSTER_CHANGE_NETWORK_PROPERTY = 0x00800000;
inline constexpr DWORD CLUSTER_CHANGE_NETINTERFACE_STATE = 0x01000000;
inline constexpr DWORD CLUSTER_CHANGE_NETINTERFACE_DELETED = 0x02000000;
inline constexpr DWORD CLUSTER_CHANGE_NETINTERFACE_ADDED = 0x04000000;
inline constexpr DWORD CLUSTER_CHANGE_NETINTERFACE_PROPERTY = 0x08000000;

// Opening and closing. An empty or null cluster name means the only cluster there is, or the one that OSTRA_CLUSTER
// names. Close functions answer 1, or 0 with the last error set when the handle was not open.
PLATFORM_API HCLUSTER OpenCluster(const wchar_t* clusterName);
PLATFORM_API HNODE OpenClusterNode(HCLUSTER cluster, const wchar_t* nodeName);
PLATFORM_API HGROUP OpenClusterGroup(HCLUSTER cluster, const wchar_t* groupName);
PLATFORM_API HRESOURCE OpenClusterResource(HCLUSTER cluster, const wchar_t* resourceName);
PLATFORM_API HNETWORK OpenClusterNetwork(HCLUSTER cluster, const wchar_t* networkName);
PLATFORM_API HNETINTERFACE OpenClusterNetInterface(HCLUSTER cluster, const wchar_t* interfaceName);
PLATFORM_API BOOL CloseCluster(HCLUSTER cluster);
PLATFORM_API BOOL CloseClusterNode(HNODE node);
PLATFORM_API BOOL CloseClusterGroup(HGROUP group);
PLATFORM_API BOOL CloseClusterResource(HRESOURCE resource);
PLATFORM_API BOOL CloseClusterNetwork(HNETWORK network);
PLATFORM_API BOOL CloseClusterNetInterface(HNETINTERFACE netInterface);

// Creating. Names compare without regard to case; the new object's handle is the caller's.
PLATFORM_API HGROUP CreateClusterGroup(HCLUSTER cluster, const wchar_t* groupName);
PLATFORM_API HRESOURCE CreateClusterResource(HGROUP group, const wchar_t* resourceName, const wchar_t* typeName,
                                             DWORD flags);

// Enumerating. The list is that of the moment it was opened, in the engine's stable order. An index past its end
// answers 259; a buffer too small 234. A name that does not fit is not cut. The place for the type may be null.
PLATFORM_API HCLUSENUM ClusterOpenEnum(HCLUSTER cluster, DWORD types);
PLATFORM_API DWORD ClusterEnum(HCLUSENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize);
PLATFORM_API DWORD ClusterCloseEnum(HCLUSENUM enumeration);
PLATFORM_API HGROUPENUM ClusterGroupOpenEnum(HGROUP group, DWORD types);
PLATFORM_API DWORD ClusterGroupEnum(HGROUPENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize);
PLATFORM_API DWORD ClusterGroupCloseEnum(HGROUPENUM enumeration);
PLATFORM_API HRESENUM ClusterResourceOpenEnum(HRESOURCE resource, DWORD types);
PLATFORM_API DWORD ClusterResourceEnum(HRESENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize);
PLATFORM_API DWORD ClusterResourceCloseEnum(HRESENUM enumeration);
PLATFORM_API HNETWORKENUM ClusterNetworkOpenEnum(HNETWORK network, DWORD types);
PLATFORM_API DWORD ClusterNetworkEnum(HNETWORKENUM enumeration, DWORD index, DWORD* type, wchar_t* name,
                                      DWORD* nameSize);
PLATFORM_API DWORD ClusterNetworkCloseEnum(HNETWORKENUM enumeration);

// States. ClusterStateUnknown with the last error set when the state cannot be read; name buffers may be null, and a
// name that does not fit makes the call fail with 234 in the last error.
PLATFORM_API DWORD GetClusterNodeState(HNODE node);
PLATFORM_API DWORD GetClusterGroupState(HGROUP group, wchar_t* nodeName, DWORD* nodeNameSize);
PLATFORM_API DWORD GetClusterResourceState(HRESOURCE resource, wchar_t* nodeName, DWORD* nodeNameSize,
                                           wchar_t* groupName, DWORD* groupNameSize);
PLATFORM_API DWORD GetClusterNetworkState(HNETWORK network);
PLATFORM_API DWORD GetClusterNetInterfaceState(HNETINTERFACE netInterface);

// Control. A null destination leaves the choice of the node to the cluster. 87 for objects of two clusters.
PLATFORM_API DWORD OnlineClusterGroup(HGROUP group, HNODE destination);
PLATFORM_API DWORD OfflineClusterGroup(HGROUP group);
PLATFORM_API DWORD MoveClusterGroup(HGROUP group, HNODE destination);
PLATFORM_API DWORD OnlineClusterResource(HRESOURCE resource);
PLATFORM_API DWORD OfflineClusterResource(HRESOURCE resource);
PLATFORM_API DWORD PauseClusterNode(HNODE node);
PLATFORM_API DWORD ResumeClusterNode(HNODE node);
PLATFORM_API DWORD EvictClusterNode(HNODE node);
PLATFORM_API DWORD SetClusterGroupName(HGROUP group, const wchar_t* newName);
PLATFORM_API DWORD SetClusterGroupNodeList(HGROUP group, DWORD count, HNODE* nodes);
PLATFORM_API DWORD AddClusterResourceNode(HRESOURCE resource, HNODE node);
PLATFORM_API DWORD RemoveClusterResourceNode(HRESOURCE resource, HNODE node);
PLATFORM_API DWORD AddClusterResourceDependency(HRESOURCE resource, HRESOURCE dependsOn);
PLATFORM_API DWORD RemoveClusterResourceDependency(HRESOURCE resource, HRESOURCE dependsOn);

// Information. The version is not given out.
PLATFORM_API DWORD GetClusterInformation(HCLUSTER cluster, wchar_t* clusterName, DWORD* nameSize, void* version);
PLATFORM_API DWORD GetClusterNetworkId(HNETWORK network, wchar_t* id, DWORD* idSize);
PLATFORM_API DWORD GetClusterNetInterface(HCLUSTER cluster, const wchar_t* nodeName, const wchar_t* networkName,
                                          wchar_t* interfaceName, DWORD* nameSize);

// Control operations. `returned` receives the bytes written, or with 234 the bytes that the answer needs; with 234
// nothing else is written. A code of another kind of object answers 87, one that the engine does not know 120.
PLATFORM_API DWORD ClusterNodeControl(HNODE node, HNODE host, DWORD code, const void* input, DWORD inputSize,
                                      void* output, DWORD outputSize, DWORD* returned);
PLATFORM_API DWORD ClusterGroupControl(HGROUP group, HNODE host, DWORD code, const void* input, DWORD inputSize,
                                       void* output, DWORD outputSize, DWORD* returned);
PLATFORM_API DWORD ClusterResourceControl(HRESOURCE resource, HNODE host, DWORD code, const void* input,
                                          DWORD inputSize, void* output, DWORD outputSize, DWORD* returned);
PLATFORM_API DWORD ClusterResourceTypeControl(HCLUSTER cluster, const wchar_t* typeName, HNODE host, DWORD code,
                                              const void* input, DWORD inputSize, void* output, DWORD outputSize,
                                              DWORD* returned);
PLATFORM_API DWORD ClusterNetworkControl(HNETWORK network, HNODE host, DWORD code, const void* input, DWORD inputSize,
                                         void* output, DWORD outputSize, DWORD* returned);
PLATFORM_API DWORD ClusterNetInterfaceControl(HNETINTERFACE netInterface, HNODE host, DWORD code, const void* input,
                                              DWORD inputSize, void* output, DWORD outputSize, DWORD* returned);

// The cluster database: keys and typed values as in the registry, kept by the cluster for all of its nodes. Data bytes
// are stored as given; texts are UTF-16LE with their null by custom. A key keeps the access mask that it was opened
// with (KEY_... of platform/base/registry_types.h), and what that does not allow answers 5: creating and deleting
// subkeys KEY_CREATE_SUB_KEY, listing them KEY_ENUMERATE_SUB_KEYS, reading values KEY_QUERY_VALUE, writing and deleting
// them KEY_SET_VALUE. Data that does not fit its buffer answers 234 with the bytes that it needs, and nothing is
// copied. A null value name is the unnamed value. Security descriptors and write times are not kept.
PLATFORM_API HKEY GetClusterKey(HCLUSTER cluster, DWORD access);
PLATFORM_API HKEY GetClusterGroupKey(HGROUP group, DWORD access);
PLATFORM_API HKEY GetClusterResourceKey(HRESOURCE resource, DWORD access);
PLATFORM_API LONG ClusterRegOpenKey(HKEY key, const wchar_t* path, DWORD access, HKEY* opened);
PLATFORM_API LONG ClusterRegCreateKey(HKEY key, const wchar_t* path, DWORD options, DWORD access, void* security,
                                      HKEY* created, DWORD* disposition);
PLATFORM_API LONG ClusterRegCloseKey(HKEY key);
PLATFORM_API LONG ClusterRegDeleteKey(HKEY key, const wchar_t* path);
PLATFORM_API LONG ClusterRegEnumKey(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, void* lastWriteTime);
PLATFORM_API DWORD ClusterRegSetValue(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size);
PLATFORM_API DWORD ClusterRegDeleteValue(HKEY key, const wchar_t* name);
PLATFORM_API LONG ClusterRegQueryValue(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size);
PLATFORM_API DWORD ClusterRegEnumValue(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* type, BYTE* data,
                                       DWORD* size);
