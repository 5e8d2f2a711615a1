#pragma once

#include <ostra/foundation/ClusterComponents.h>
#include <platform/base/types.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class ClusterComponent;

/// A collection together with the objects that it lists and owns, which live until they are deleted or this object
/// dies: one that was replaced or retired is no longer listed and lives on, because callers may hold it. The collection
/// may list objects of others as well.
///
/// An index must never name a dead object. Members that stand in indexes of other owners are taken out of those too
/// before they die; an index that died before them needs nothing.
class OwnedComponents {
public:
    using Objects = std::unordered_set<const CObject*>;

    explicit OwnedComponents(const std::wstring& title = {}) : _index(title) {}
    OwnedComponents(const OwnedComponents&) = delete;
    OwnedComponents& operator=(const OwnedComponents&) = delete;
    ~OwnedComponents();

    /// An empty collection whose members will stand in the same other indexes as those of `former`, which may be null.
    /// Null when memory ran out.
    static std::shared_ptr<OwnedComponents> Succeeding(const std::shared_ptr<OwnedComponents>& former);
    /// The collection alone, which keeps its owner; null for null.
    static std::shared_ptr<ClusterComponents> IndexOf(const std::shared_ptr<OwnedComponents>& owner);
    /// Takes the objects out of an index, under whatever key they stand there.
    static void Unlist(ClusterComponents& index, const Objects& leaving);

    ClusterComponents* Index() { return &_index; }

    /// The object that stands under that key, when it is a member of that kind; otherwise null.
    template <typename Object>
    Object* Member(const std::wstring& key) const {
        CObject* object = nullptr;
        return _index.Lookup(key, object) && Owns(object) ? dynamic_cast<Object*>(object) : nullptr;
    }

    bool Owns(const CObject* object) const { return _members.contains(object); }

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
    /// Takes the entries with those keys out; the objects live on.
    void Retire(const StringArray& keys);
    /// Deletes the members that are not listed.
    void DeleteUnlisted();

private:
    ClusterComponent* Own(std::unique_ptr<ClusterComponent> component);
    void UnlistElsewhere(const Objects& leaving);

    ClusterComponents _index;
    std::vector<std::unique_ptr<ClusterComponent>> _companions;  // before the members, which use them to their end
    std::unordered_map<const CObject*, std::unique_ptr<ClusterComponent>> _members;
    std::vector<std::weak_ptr<ClusterComponents>> _otherIndexes;
};
