#pragma once

#include <platform/cluster/PropertyList.h>
#include <platform/engines/embedded/ClusterStore.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform::embedded {

// Properties are values of the cluster's database: common ones of the object's own key, private ones of the key
// "Parameters" below it. There is no second place, so that keys and properties always agree. A value that is missing,
// of another type or out of its range counts as the property's standard value. Inside Read or Write of the store.

/// The common properties of an object, in their order; a resource's begin with the read-only "Type".
DWORD ReadCommonProperties(ClusterStore& store, ObjectId object, std::vector<PropertyValue>& properties);
/// What is known of an object and is not kept as a property.
DWORD ReadReadOnlyProperties(ClusterStore& store, ObjectId object, std::vector<PropertyValue>& properties);
/// InvalidParameter for a name that is unknown, another format, a number out of range, or another value of a read-only
/// property. `changed` names the properties that had another value before, for change lists.
DWORD WriteCommonProperties(ClusterStore& store, ObjectId object, const std::vector<PropertyValue>& properties,
                            std::wstring& changed);

/// A common property that is a number.
DWORD ReadCommonNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD& number);

/// A number that the engine keeps in an object's key; 0 before the first time.
DWORD ReadNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD& number);
DWORD WriteNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD number);

/// The private properties of a resource in name order: texts and numbers; other values are left out.
DWORD ReadPrivateProperties(ClusterStore& store, const ResourceRecord& resource,
                            std::vector<PropertyValue>& properties);
/// Makes the key "Parameters" when it is missing.
DWORD WritePrivateProperties(ClusterStore& store, const ResourceRecord& resource,
                             const std::vector<PropertyValue>& properties, std::wstring& changed);
/// Writes a value unless it is there already; `isChanged` tells.
DWORD WriteIfDifferent(KeyStore& keys, KeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data,
                       bool& isChanged);
/// One private property; nothing when it is not there as a text or a number.
DWORD ReadPrivateProperty(ClusterStore& store, const ResourceRecord& resource, const wchar_t* name,
                          std::optional<PropertyValue>& property);

}  // namespace platform::embedded
