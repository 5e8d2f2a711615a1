#pragma once

#include <ostra/export.h>
#include <ostra/registry/ClusterKey.h>

// Each of these places a ClusterKey on one branch of the cluster database. A constructor that fails reports it and
// leaves an object whose `Valid()` is 0.

/// A group's own key, which is both root and current key.
class OSTRA_API ClusterGroupKey : public ClusterKey {
public:
    ClusterGroupKey(HGROUP group, HCLUSTER cluster);
    ClusterGroupKey& operator=(const ClusterGroupKey& other);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;
    /// Deletes a subkey of the current key.
    int Delete(const std::wstring& name);
    /// Creates or opens a subkey of the current key, and writes a REG_SZ value to it unless `valueName` is empty.
    HKEY AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value);

    /// Writes every value of the tree below the current key to standard output. Always 0.
    int Info();
};

/// A resource's key, with its "Parameters", which must exist, as the current key.
class OSTRA_API ClusterResourceKey : public ClusterKey {
public:
    ClusterResourceKey(HRESOURCE resource, HCLUSTER cluster);
    ClusterResourceKey& operator=(const ClusterResourceKey& other);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;
    using ClusterKey::SetParameters;
    int Delete(const std::wstring& name);
    HKEY AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value);
    int SetParameters(const StringArray* parameters, const std::wstring& keyName);

    int Info();
};

/// The key under which the cluster keeps its networks.
class OSTRA_API ClusterNetworksKey : public ClusterKey {
public:
    explicit ClusterNetworksKey(const std::wstring& clusterName);
    explicit ClusterNetworksKey(HCLUSTER cluster);
    ClusterNetworksKey& operator=(const ClusterNetworksKey& other);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;
    int Delete(const std::wstring& name);
    HKEY AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value);

private:
    void OpenNetworks();
};

/// The address pool of one network, "Ostra\ExpertWizard\IPStack\" and the network's name; what is missing is created.
class OSTRA_API ClusterIPStackKey : public ClusterKey {
public:
    ClusterIPStackKey(const std::wstring& clusterName, const std::wstring& networkName);
    ClusterIPStackKey(HCLUSTER cluster, const std::wstring& networkName);
    ClusterIPStackKey& operator=(const ClusterIPStackKey& other);

    using ClusterKey::AddKey;
    using ClusterKey::Delete;
    int Delete(const std::wstring& name);
    HKEY AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value);

private:
    void CreatePool(const std::wstring& networkName);
};

/// A subkey of the key "Ostra", which must exist. A subkey that is missing is created as a volatile one and does not
/// outlive a restart of the cluster; to keep its content across restarts, create it as a lasting key before.
class OSTRA_API ClusterSchedulerKey : public ClusterKey {
public:
    ClusterSchedulerKey(const std::wstring& clusterName, const std::wstring& subkeyName);
    ClusterSchedulerKey& operator=(const ClusterSchedulerKey& other);
};
