#pragma once

#include <ostra/export.h>
#include <ostra/properties/Properties.h>
#include <platform/base/types.h>

#include <string>

// The property sets of the kinds of cluster object. Each is constructed on an object's handle, which stays the
// caller's, serves one Set or Get and is destroyed after it.
//
// Set sends parameter strings with the control code: 1 when the service accepted them; 0 when there was nothing to
// send or it refused. Get reads with the control code and puts each property's name and value text into the caller's
// map, whose other entries stay: the number of properties that the answer held, or 0 when the code is meant for another
// kind of object, the service failed or its answer has more than 130,000 bytes, and the map is as it was. Failures go
// to the event log and leave their code as the last error (87 for what is refused here, 234 for an answer too large).
// The host nodes given are accepted and not used.
//
// A set belongs to one thread at a time, and blocks for as long as the cluster takes to answer.

/// The cluster's own properties, which can be neither read nor written.
class OSTRA_API ClusterProperties : public Properties {
public:
    explicit ClusterProperties(HCLUSTER cluster);

private:
    [[maybe_unused]] HCLUSTER _cluster;  // the caller's
};

class OSTRA_API NodeProperties : public Properties {
public:
    explicit NodeProperties(HNODE node);
    int Set(const StringArray* parameters, DWORD controlCode) override;
    DWORD Get(StringMap* attributes, DWORD controlCode, HNODE host = nullptr);

private:
    static const ObjectKind kind;

    HNODE _node;  // the caller's
};

class OSTRA_API GroupProperties : public Properties {
public:
    explicit GroupProperties(HGROUP group, HNODE node = nullptr);
    int Set(const StringArray* parameters, DWORD controlCode) override;
    DWORD Get(StringMap* attributes, DWORD controlCode, HNODE host = nullptr);

private:
    static const ObjectKind kind;

    HGROUP _group;                 // the caller's
    [[maybe_unused]] HNODE _node;  // the caller's
};

class OSTRA_API ResourceProperties : public Properties {
public:
    explicit ResourceProperties(HRESOURCE resource);
    int Set(const StringArray* parameters, DWORD controlCode) override;
    /// Reads property lists, and with CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO the description of a disk resource's disk.
    DWORD Get(StringMap* attributes, DWORD controlCode, HNODE host = nullptr);

private:
    static const ObjectKind kind;

    HRESOURCE _resource;  // the caller's
};

/// The properties of a resource type, named in each call, and the disks that are available to it. Of what an answer
/// holds only whole groups of six are handed over: the six descriptions of one disk with one partition.
class OSTRA_API ResourceTypeProperties : public Properties {
public:
    explicit ResourceTypeProperties(HCLUSTER cluster);
    using Properties::Set;
    int Set(const std::wstring& typeName, const StringArray* parameters, DWORD controlCode);
    DWORD Get(const std::wstring& typeName, StringMap* attributes, DWORD controlCode, HNODE host = nullptr);
    /// Appends name, "=" and value text of each property to the caller's array.
    DWORD Get(const std::wstring& typeName, StringArray* descriptions, DWORD controlCode, HNODE host = nullptr);

private:
    /// The number of properties to hand over.
    std::size_t ReadDisks(const std::wstring& typeName, DWORD controlCode);
    /// Sends the present control code; serves as long as this object and the name do.
    ControlCall CallOnType(const std::wstring& typeName) const;

    static const ObjectKind kind;

    HCLUSTER _cluster;  // the caller's
};

/// Refuses codes of another kind of object also when writing.
class OSTRA_API NetworkProperties : public Properties {
public:
    explicit NetworkProperties(HNETWORK network);
    int Set(const StringArray* parameters, DWORD controlCode) override;
    DWORD Get(StringMap* attributes, DWORD controlCode, HNODE host = nullptr);

private:
    static const ObjectKind kind;

    HNETWORK _network;  // the caller's
};

/// Refuses codes of another kind of object also when writing.
class OSTRA_API NetworkInterfaceProperties : public Properties {
public:
    explicit NetworkInterfaceProperties(HNETINTERFACE netInterface);
    int Set(const StringArray* parameters, DWORD controlCode) override;
    DWORD Get(StringMap* attributes, DWORD controlCode, HNODE host = nullptr);

private:
    static const ObjectKind kind;

    HNETINTERFACE _netInterface;  // the caller's
};
