#pragma once

#include <ostra/foundation/ClusterComponents.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

class ClusterComponent;

/// A collection together with the objects that it lists, which live until they are deleted or this object dies: an
/// object that another one replaced is no longer listed and lives on, because callers may hold it.
///
/// An index must never name a dead object. Members that stand in indexes of other owners are taken out of those too
/// before they die; an index that died before them needs nothing.
class OwnedComponents {
public:
    OwnedComponents() = default;
    OwnedComponents(const OwnedComponents&) = delete;
    OwnedComponents& operator=(const OwnedComponents&) = delete;
    ~OwnedComponents();

    /// An empty collection whose members will stand in the same other indexes as those of `former`, which may be null.
    /// Null when memory ran out.
    static std::shared_ptr<OwnedComponents> Succeeding(const std::shared_ptr<OwnedComponents>& former);

    ClusterComponents* Index() { return &_index; }

    /// Says that members may also stand in `index`.
    void AlsoListedIn(const std::weak_ptr<ClusterComponents>& index) { _otherIndexes.push_back(index); }

    /// Lists the object under `name` without marking the collection as changed.
    void Store(const std::wstring& name, std::unique_ptr<ClusterComponent> component);
    /// Lists the object under its own name and marks the collection as changed.
    void Add(std::unique_ptr<ClusterComponent> component);
    /// Keeps an object that members point at, until the last of them is gone.
    void Accompany(std::unique_ptr<ClusterComponent> object) { _companions.push_back(std::move(object)); }
    /// Takes the entry with that key out, and deletes the object when it is a member. An unknown name changes nothing.
    void Delete(const std::wstring& name);

private:
    using Objects = std::set<const CObject*>;

    static void Unlist(ClusterComponents& index, const Objects& leaving);
    void UnlistElsewhere(const Objects& leaving);

    ClusterComponents _index;
    std::vector<std::unique_ptr<ClusterComponent>> _companions;  // before the members, which use them to their end
    std::vector<std::unique_ptr<ClusterComponent>> _members;
    std::vector<std::weak_ptr<ClusterComponents>> _otherIndexes;
};
