#include <programs/ostra/TemplateGroup.h>

#include <ostra/cluster/Cluster.h>
#include <ostra/wizard/ExpertGroup.h>
#include <ostra/wizard/ResourceDependency.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <programs/ostra/GroupState.h>
#include <programs/ostra/TemplateGroupHardware.h>
#include <programs/support/Change.h>
#include <programs/support/Json.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>
#include <programs/support/Templates.h>

#include <algorithm>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

constexpr GroupGoal online{"online", ClusterGroupOnline};

bool Contains(const StringArray& names, const std::wstring& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Listed(const StringArray& names) {
    return names.empty() ? "nothing" : TextOf(ToJson(names));
}

/// The parameter lists of a template's kinds, in their order.
class ParameterLists {
public:
    ParameterLists(const StringArray& kinds, const TemplateGroupAnswers& answers) : _lists(kinds.size()) {
        for (std::size_t i = 0; i < kinds.size(); ++i)
            for (const Setting& setting : answers.Of(kinds[i])) _lists[i].push_back(setting.text);
    }
    std::vector<StringArray*> Pointers() {
        std::vector<StringArray*> pointers;
        for (StringArray& list : _lists) pointers.push_back(&list);
        return pointers;
    }

private:
    std::vector<StringArray> _lists;
};

/// What the cluster has of a group's resources, by their kinds. Resources that the template made come first.
class Inventory {
public:
    Inventory(Context& context, const Group& group, const std::wstring& templateName)
        : _names(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_CONTAINS)) {
        const std::wstring mark = L" of " + templateName + L"(";
        std::stable_partition(_names.begin(), _names.end(),
                              [&](const std::wstring& name) { return name.find(mark) != std::wstring::npos; });
        for (const std::wstring& name : _names) {
            _resources.push_back(
                std::make_unique<Resource>(name, context.OpenedCluster().ClusterHandle(), context.ClusterName(), 1));
            RequireRead("Resource " + ToUtf8(name), [&] { _resources.back()->Discover(1); });
        }
    }
    const StringArray& Names() const { return _names; }
    Resource* Find(const std::wstring& kind) const {
        for (const auto& resource : _resources)
            if (resource->Type() == kind) return resource.get();
        return nullptr;
    }

    /// The kinds' resources in the kinds' order.
    StringArray Made(const StringArray& kinds) const {
        StringArray made;
        for (const std::wstring& kind : kinds)
            if (Resource* resource = Find(kind)) made.push_back(resource->Name());
        return made;
    }

    /// What is missing of the group that the template describes; empty when nothing is. The library reports each
    /// failure where nobody reads it, and goes on: what the cluster has now tells. Dependencies are those of resources
    /// that are not among the `former` ones, on each other.
    std::string Shortcoming(const StringArray& kinds, const TemplateGroupAnswers& answers,
                            const StringArray& former) const {
        std::vector<Resource*> made;
        for (const std::wstring& kind : kinds) {
            Resource* resource = Find(kind);
            if (!resource) return "it has no " + ToUtf8(kind);
            for (const Setting& setting : answers.Of(kind))
                if (!IsStored(setting, *resource->PrivateAttributes()) &&
                    !IsStored(setting, *resource->CommonAttributes()))
                    return ToUtf8(resource->Name() + L" did not take " + setting.text);
            if (Contains(former, resource->Name())) continue;
            const StringArray needed = MembersOf(resource->Handle(), CLUSTER_RESOURCE_ENUM_DEPENDS);
            const ResourceDependency dependency(kind);
            for (Resource* other : made)
                if (dependency.IsDependent(other->Type()) && !Contains(needed, other->Name()))
                    return ToUtf8(resource->Name() + L" does not depend on " + other->Name());
            made.push_back(resource);
        }
        return {};
    }

private:
    StringArray _names;
    std::vector<std::unique_ptr<Resource>> _resources;
};

/// One template, the answers to it, and what the cluster gives to what is left open.
class TemplateGroup {
public:
    TemplateGroup(Context& context, const TemplateGroupWish& wish)
        : _context(context),
          _wish(wish),
          _name(FromUtf8(wish.name)),
          _wizard(ReadTemplates()),
          _page(FindTemplate(*_wizard, wish.templateName)),
          _kinds(KindsOf(_page)),
          _answers(_page) {
        if (_kinds.empty())
            throw CommandError(ExitCode::Refused, "Template " + ToUtf8(_page.Name()) +
                                                      " names no resources, so no group can be made from it");
        for (const std::string& answer : wish.answers) _answers.Answer(answer);
        _answers.AnswerByOption(diskField, wish.disk, "--disk");
        _answers.AnswerByOption(networkField, wish.network, "--network");
        _answers.AnswerByOption(addressField, wish.address, "--address");
    }

    void Create() {
        if (_wish.answers.empty() && _context.Channels().isInteractive && !_context.options.isConfirmed) {
            RequireNewName();  // before anybody answers in vain
            _answers.Ask(_context);
            _context.ForgetCluster();
        }
        std::string problem;
        const Change change = ChangeOf("created");
        change.MakeJudged([&] { problem = CreateWithin(change); });
        if (!problem.empty())
            throw CommandError(ExitCode::Refused,
                               problem +
                                   " Delete that with \"ostra resource delete\" and \"ostra group delete\"; "
                                   "with --rollback nothing would have stayed.");
        Report(change);
    }

    void ChangeGroup() {
        const Change change = ChangeOf("changed");
        change.MakeJudged([&] { ChangeWithin(change); });
        Report(change);
    }

private:
    Change ChangeOf(const std::string& verb) const {
        return {_context, "Group " + _wish.name, verb, "ostra group show \"" + _wish.name + "\""};
    }

    // The answer is what a group that stays is short of.
    std::string CreateWithin(const Change& change) {
        RequireNewName();
        ChooseDisk(_context, _answers, _hardware);
        ChooseAddress(_context, _answers, {}, _hardware);
        _answers.Complete(nameField, _name);  // the library's default could be online once only
        const platform::FailureWatch watch(IsReadFailure);
        Group& group = CreateGroup(change);
        const bool isWhole = !watch.First() || IsOnlyOffline(group, watch.First());
        const Inventory inventory(_context, group, _page.Name());
        std::string shortcoming = inventory.Shortcoming(_kinds, _answers, {});
        if (shortcoming.empty() && !isWhole) shortcoming = "not all of it could be written";
        if (shortcoming.empty() && (!_wish.isRolledBack || IsOnItsWay(group))) {
            TakeAddress(_context, _hardware);
            return {};
        }
        std::string text = "Group " + _wish.name + " was not created ";
        text += shortcoming.empty() ? "because it does not come online: " : "whole, " + shortcoming + ": ";
        text += CauseText(Cause()) + " Made were: " + Listed(inventory.Made(_kinds)) + ".";
        if (!_hardware.address.empty()) text += " The address " + _hardware.address + " is still in its pool.";
        if (_wish.isRolledBack) throw CommandError(ExitCodeOf(Cause()), text + " All of it was taken back.");
        return text;
    }

    void RequireNewName() const {
        for (const std::wstring& name : NamesOf(_context, CLUSTER_ENUM_GROUP))
            if (platform::EqualIgnoringCase(name, _name))
                throw CommandError(ExitCode::AlreadyExists, "There is a group named \"" + ToUtf8(name) +
                                                                "\" already. Change it with: ostra group change \"" +
                                                                ToUtf8(name) + "\" --template \"" +
                                                                ToUtf8(_page.Name()) + "\"");
    }

    Group& CreateGroup(const Change& change) {
        OstraDLL::Cluster& cluster = _context.OpenedCluster();
        ParameterLists lists(_kinds, _answers);
        SetLastError(0);
        ExpertGroup* group = cluster.CreateGroup(_name, _page.Name(), lists.Pointers(), nullptr);
        _cause = GetLastError();
        if (group && cluster.GroupsPtr()->Find(_name) == group) return *group;
        delete group;  // a refused group is handed out too, and is then ours
        change.Refuse(_cause);
    }

    // A failure whose cause was not told is still one.
    DWORD Cause() const { return _cause ? _cause : DWORD{error::GeneralFailure}; }

    // Whether the first failure is the last step's, to bring the group online: it is whole all the same.
    bool IsOnlyOffline(const Group& group, DWORD failure) const { return failure == _cause && !IsOnItsWay(group); }

    bool IsOnItsWay(const Group& group) const {
        const DWORD state = GetClusterGroupState(group.Handle(), nullptr, nullptr);
        return state == ClusterGroupOnline || state == ClusterGroupPending || _cause == error::IoPending;
    }

    void ChangeWithin(const Change& change) {
        Group& group = FindGroup(_context, _wish.name);
        RequireRead("Group " + _wish.name, [&] { group.Discover(0); });
        const Inventory before(_context, group, _page.Name());
        ChooseFor(before);
        for (const std::wstring& kind : _kinds)
            if (Resource* resource = before.Find(kind)) Write(*resource, _answers.Of(kind));
        ParameterLists lists(_kinds, _answers);
        const StringArray existing = before.Names();
        ExpertGroup changed(group);
        changed.GetWizardGUI(_page.Name());
        const platform::FailureWatch watch(IsReadFailure);
        const int isHandled = changed.Change(lists.Pointers(), nullptr, &existing, 1);
        _cause = GetLastError();
        change.RequireKnown(_cause);
        const bool isWhole = isHandled && (!watch.First() || IsOnlyOffline(group, watch.First()));
        std::string shortcoming = Inventory(_context, group, _page.Name()).Shortcoming(_kinds, _answers, existing);
        if (shortcoming.empty() && !isWhole) shortcoming = "not all of it could be read or written";
        if (!shortcoming.empty())
            throw CommandError(ExitCodeOf(Cause()), "Group " + _wish.name + " was not changed, nothing of it: " +
                                                        shortcoming + ": " + CauseText(Cause()));
        TakeAddress(_context, _hardware);
    }

    // What the group has stays as it is unless somebody says otherwise; what it lacks is chosen as for a new group.
    void ChooseFor(const Inventory& inventory) {
        const auto isOpen = [&](const TemplateField& field) {
            return !inventory.Find(field.owner) || _answers.Find(field).has_value();
        };
        if (isOpen(diskField)) ChooseDisk(_context, _answers, _hardware);
        if (!inventory.Find(nameField.owner)) _answers.Complete(nameField, _name);
        if (!isOpen(networkField) && !isOpen(addressField)) return;
        std::wstring present;
        if (Resource* address = inventory.Find(addressField.owner)) {
            present = address->GetPrivateAttribute(addressField.parameter);
            const std::wstring network = address->GetPrivateAttribute(networkField.parameter);
            if (!network.empty() && !_answers.Find(networkField)) _answers.Replace(networkField, network);
            if (!_answers.Find(addressField) && _answers.Find(networkField) == network)
                _answers.Replace(addressField, present);
        }
        ChooseAddress(_context, _answers, present, _hardware);
    }

    // The library's change path leaves the parameters of resources that exist as they are.
    static void Write(Resource& resource, const std::vector<Setting>& settings) {
        StringArray common;
        StringArray parameters;
        for (const Setting& setting : settings)
            (resource.CommonAttributes()->contains(setting.name) ? common : parameters).push_back(setting.text);
        if (!common.empty()) resource.SetAttributes(&common, CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES);
        if (!parameters.empty()) resource.SetAttributes(&parameters, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES);
    }

    void Report(const Change& change) {
        _context.ForgetCluster();
        Group* group = nullptr;
        change.Report([&] { group = &FindGroup(_context, _wish.name); });
        Json record = AwaitGroup(_context, *group, online, change, _cause);
        record["template"] = ToUtf8(_page.Name());
        for (const auto& [name, text] : {std::pair{"disk", _hardware.drive}, std::pair{"network", _hardware.network},
                                         std::pair{"address", _hardware.address}})
            if (!text.empty()) record[name] = text;
        change.Report([&] { record["resources"] = ToJson(Inventory(_context, *group, _page.Name()).Made(_kinds)); });
        _context.PrintRecord(record);
    }

    Context& _context;
    const TemplateGroupWish& _wish;
    const std::wstring _name;
    const std::unique_ptr<ExpertWizard> _wizard;
    const ExpertWizardGUIPage& _page;  // of _wizard
    const StringArray _kinds;
    TemplateGroupAnswers _answers;
    GroupHardware _hardware;
    DWORD _cause = 0;
};

}  // namespace

void CreateGroupFromTemplate(Context& context, const TemplateGroupWish& wish) {
    context.ForgetCluster();  // what the transaction decides on is read within it
    TemplateGroup(context, wish).Create();
}

void ChangeGroupFromTemplate(Context& context, const TemplateGroupWish& wish) {
    context.ForgetCluster();
    TemplateGroup(context, wish).ChangeGroup();
}

}  // namespace programs
