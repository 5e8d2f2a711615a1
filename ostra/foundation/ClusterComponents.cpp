#include <ostra/foundation/ClusterComponents.h>

#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/framework/CComboBox.h>
#include <platform/system/message_box.h>

#include <utility>
#include <vector>

namespace {

constexpr int blockSize = 10;
constexpr std::wstring_view eventSource = L"Ostra";

// Nothing but components is ever added to the map.
ClusterComponent* ComponentOf(CObject* member) {
    return static_cast<ClusterComponent*>(member);
}

}  // namespace

ClusterComponents::ClusterComponents(const std::wstring& name)
    : CMapStringToOb(blockSize), _name(name), _eventViewer(eventSource, NTEventViewer::Error, {}) {}

int ClusterComponents::NumberOfComponents() const {
    return GetCount();
}

int ClusterComponents::Add(ClusterComponent* component) {
    if (!component) return 0;
    SetAt(component->_name, component);
    SetJustChanged();
    return 0;
}

int ClusterComponents::Add(const ClusterComponents* components) {
    if (!components) return 0;
    std::vector<ClusterComponent*> members;  // the other collection may be this one, which changes
    for (const auto& [key, member] : *components) members.push_back(ComponentOf(member));
    for (ClusterComponent* component : members) Add(component);
    SetJustChanged();
    return 0;
}

int ClusterComponents::Delete(const std::wstring& name) {
    if (name.empty()) return 0;
    RemoveKey(name);
    SetJustChanged();
    return 0;
}

ClusterComponent* ClusterComponents::Find(const std::wstring& name) const {
    if (name.empty()) return nullptr;
    // Every key before the one found has to be visited: a member that was renamed may come first under its old key.
    for (const auto& [key, member] : *this)
        if (member && ComponentOf(member)->_name == name) return ComponentOf(member);
    return nullptr;
}

int ClusterComponents::JustChanged() const {
    return std::exchange(_justChanged, 0);
}

int ClusterComponents::Info(const std::wstring& title) const {
    std::wstring names;
    for (const auto& [key, member] : *this)
        if (member) names.append(ComponentOf(member)->_name).append(L"\n");
    MessageBoxW(nullptr, names.c_str(), title.c_str(), MB_OK | MB_ICONINFORMATION);
    return NumberOfComponents();
}

ClusterComponents* ClusterComponents::operator=(const ClusterComponents& other) {
    platform::WriteOutput(L"ClusterComponents::operator=( ClusterComponents& ). On entry.\n");
    for (const auto& [key, member] : other)
        if (member) platform::WriteOutput(platform::Format(L" =-=-=- %ws\n", ComponentOf(member)->_name.c_str()));
    CopyTitle(other);
    platform::WriteOutput(L"ClusterComponents::operator=( ClusterComponents& ). On exit.\n");
    return this;
}

ClusterComponents* ClusterComponents::operator=(const ClusterComponents* other) {
    platform::WriteOutput(L"ClusterComponents::operator=( ). On entry.\n");
    if (other) CopyTitle(*other);
    return this;
}

bool ClusterComponents::operator==(const ClusterComponents& other) const {
    return _iD == other._iD && _name == other._name && _tag == other._tag;
}

bool ClusterComponents::operator==(const ClusterComponents* other) const {
    return other && *this == *other;
}

ClusterComponents& ClusterComponents::operator>>(CComboBox* comboBox) {
    if (!comboBox) return *this;
    for (const auto& [key, member] : *this)
        if (member) comboBox->AddString(ComponentOf(member)->_name);
    comboBox->SetCurSel(0);
    return *this;
}

void ClusterComponents::CopyTitle(const ClusterComponents& other) {
    if (this == &other) return;
    _iD = other._iD;
    _name = other._name;
}
