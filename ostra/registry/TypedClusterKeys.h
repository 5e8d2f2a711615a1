#pragma once

#include <ostra/export.h>
#include <ostra/registry/ClusterKey.h>

// Each of these places a ClusterKey on one branch of the cluster database. A constructor that fails reports it and
// leaves an object whose `Valid()` is 0, and its code as the last error. All but the scheduler's also delete and add
// subkeys of their current key by name alone.

/// A group's own key, which is both root and current key.
class OSTRA_API ClusterGroupKey : public ClusterKey {
public:
    ClusterGroupKey(HGROUP group, HCLUSTER cluster);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;

    /// Writes every value of the tree below the current key to standard output. Always 0.
    int Info();
};

/// A resource's key, with its "Parameters", which must exist, as the current key.
class OSTRA_API ClusterResourceKey : public ClusterKey {
public:
    ClusterResourceKey(HRESOURCE resource, HCLUSTER cluster);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;

    int Info();
};

/// The key under which the cluster keeps its networks.
class OSTRA_API ClusterNetworksKey : public ClusterKey {
public:
    explicit ClusterNetworksKey(const std::wstring& clusterName);
    explicit ClusterNetworksKey(HCLUSTER cluster);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;

private:
    void OpenNetworks();
};

/// The address pool of one network, "Ostra\ExpertWizard\IPStack\" and the network's name; what is missing is created.
class OSTRA_API ClusterIPStackKey : public ClusterKey {
public:
    ClusterIPStackKey(const std::wstring& clusterName, const std::wstring& networkName);
    ClusterIPStackKey(HCLUSTER cluster, const std::wstring& networkName);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;

private:
    void CreatePool(const std::wstring& networkName);
};

/// A subkey of the key "Ostra", which must exist. A subkey that is missing is created as a volatile one and does not
/// outlive a restart of the cluster; to keep its content across restarts, create it as a lasting key before.
class OSTRA_API ClusterSchedulerKey : public ClusterKey {
public:
    ClusterSchedulerKey(const std::wstring& clusterName, const std::wstring& subkeyName);
};
