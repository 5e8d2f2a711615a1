#include <ostra/cluster/OwnedComponents.h>

#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/MakeOrNull.h>

#include <algorithm>

OwnedComponents::~OwnedComponents() {
    const auto isGone = [](const auto& index) { return index.expired(); };
    if (std::all_of(_otherIndexes.begin(), _otherIndexes.end(), isGone)) return;
    Objects leaving;
    for (const auto& member : _members) leaving.insert(member.get());
    UnlistElsewhere(leaving);
}

std::shared_ptr<OwnedComponents> OwnedComponents::Succeeding(const std::shared_ptr<OwnedComponents>& former) {
    std::shared_ptr<OwnedComponents> made = MakeSharedOrNull<OwnedComponents>();
    if (made && former) made->_otherIndexes = former->_otherIndexes;
    return made;
}

void OwnedComponents::Store(const std::wstring& name, std::unique_ptr<ClusterComponent> component) {
    _members.push_back(std::move(component));  // first: what an index names must have its owner
    _index.SetAt(name, _members.back().get());
}

void OwnedComponents::Add(std::unique_ptr<ClusterComponent> component) {
    _members.push_back(std::move(component));
    _index.Add(_members.back().get());
}

void OwnedComponents::Delete(const std::wstring& name) {
    CObject* object = nullptr;
    if (!_index.Lookup(name, object)) return;
    _index.Delete(name);
    const auto isObject = [object](const auto& member) { return member.get() == object; };
    const auto found = std::find_if(_members.begin(), _members.end(), isObject);
    if (found == _members.end()) return;  // a caller's own, put into the index from outside
    Unlist(_index, {object});
    UnlistElsewhere({object});
    _members.erase(found);
}

void OwnedComponents::Unlist(ClusterComponents& index, const Objects& leaving) {
    StringArray keys;
    for (const auto& [key, object] : index) {
        if (leaving.contains(object)) keys.push_back(key);
    }
    for (const std::wstring& key : keys) index.RemoveKey(key);
}

void OwnedComponents::UnlistElsewhere(const Objects& leaving) {
    for (const std::weak_ptr<ClusterComponents>& other : _otherIndexes) {
        if (const std::shared_ptr<ClusterComponents> index = other.lock()) Unlist(*index, leaving);
    }
}
