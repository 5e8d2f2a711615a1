#include <ostra/cluster/OwnedComponents.h>

#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/MakeOrNull.h>

#include <algorithm>

OwnedComponents::~OwnedComponents() {
    const auto isGone = [](const auto& index) { return index.expired(); };
    if (std::all_of(_otherIndexes.begin(), _otherIndexes.end(), isGone)) return;
    Objects leaving;
    for (const auto& [object, member] : _members) leaving.insert(object);
    UnlistElsewhere(leaving);
}

std::shared_ptr<OwnedComponents> OwnedComponents::Succeeding(const std::shared_ptr<OwnedComponents>& former) {
    std::shared_ptr<OwnedComponents> made = MakeSharedOrNull<OwnedComponents>();
    if (made && former) made->_otherIndexes = former->_otherIndexes;
    return made;
}

std::shared_ptr<ClusterComponents> OwnedComponents::IndexOf(const std::shared_ptr<OwnedComponents>& owner) {
    return owner ? std::shared_ptr<ClusterComponents>(owner, owner->Index()) : nullptr;
}

void OwnedComponents::Unlist(ClusterComponents& index, const Objects& leaving) {
    if (leaving.empty()) return;
    StringArray keys;
    for (const auto& [key, object] : index) {
        if (leaving.contains(object)) keys.push_back(key);
    }
    for (const std::wstring& key : keys) index.RemoveKey(key);
}

ClusterComponent* OwnedComponents::Own(std::unique_ptr<ClusterComponent> component) {
    ClusterComponent* const object = component.get();
    _members.emplace(object, std::move(component));
    return object;
}

void OwnedComponents::Store(const std::wstring& name, std::unique_ptr<ClusterComponent> component) {
    _index.SetAt(name, Own(std::move(component)));
}

void OwnedComponents::Add(std::unique_ptr<ClusterComponent> component) {
    _index.Add(Own(std::move(component)));
}

void OwnedComponents::Delete(const std::wstring& name) {
    CObject* object = nullptr;
    if (!_index.Lookup(name, object)) return;
    _index.Delete(name);
    if (!_members.contains(object)) return;
    Unlist(_index, {object});
    UnlistElsewhere({object});
    _members.erase(object);
}

void OwnedComponents::Retire(const StringArray& keys) {
    Objects leaving;
    for (const std::wstring& key : keys) {
        CObject* object = nullptr;
        if (!_index.Lookup(key, object)) continue;
        leaving.insert(object);
        _index.Delete(key);
    }
    if (!leaving.empty()) UnlistElsewhere(leaving);
}

void OwnedComponents::DeleteUnlisted() {
    Objects listed;
    for (const auto& [key, object] : _index) listed.insert(object);
    Objects leaving;
    for (const auto& [object, member] : _members) {
        if (!listed.contains(object)) leaving.insert(object);
    }
    if (leaving.empty()) return;
    UnlistElsewhere(leaving);
    for (const CObject* object : leaving) _members.erase(object);
}

void OwnedComponents::UnlistElsewhere(const Objects& leaving) {
    for (const std::weak_ptr<ClusterComponents>& other : _otherIndexes) {
        if (const std::shared_ptr<ClusterComponents> index = other.lock()) Unlist(*index, leaving);
    }
}
