#include <programs/ostra/TemplateGroupHardware.h>

#include <ostra/cluster/Cluster.h>
#include <ostra/network/NTClusterDisks.h>
#include <platform/base/text.h>
#include <programs/support/AddressPools.h>
#include <programs/support/Ipv4.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>

#include <algorithm>

using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

constexpr DWORD lowestClientRole = 2;

[[noreturn]] void Refuse(const std::string& text) {
    throw CommandError(ExitCode::Refused, text);
}

// Resources keep a signature as a number, which is written signed: so the library finds the disk again.
std::wstring NumberOf(Disk& disk) {
    return std::to_wstring(static_cast<int>(disk.SignatureInDecimalDWORD()));
}

bool IsMeant(const std::wstring& text, const std::wstring& drive, Disk& disk) {
    return platform::EqualIgnoringCase(text, drive) || platform::EqualIgnoringCase(text + L":", drive) ||
           text == NumberOf(disk) || text == std::to_wstring(disk.SignatureInDecimalDWORD());
}

bool IsForClients(const Network& network) {
    return platform::ParseDecimal(network.Role()) >= lowestClientRole;
}

bool Holds(const Network& network, DWORD address) {
    const std::optional<DWORD> subnet = ParseIpv4(ToUtf8(network.IPAddress()));
    const std::optional<DWORD> mask = ParseIpv4(ToUtf8(network.SubnetMask()));
    return subnet && mask && (*subnet & *mask) == (address & *mask) && address != *subnet &&
           address != (*subnet | ~*mask);
}

DWORD ParseAddress(const std::wstring& text) {
    const std::optional<DWORD> address = ParseIpv4(ToUtf8(text));
    if (!address)
        throw CommandError(ExitCode::Usage,
                           "\"" + ToUtf8(text) + "\" is no address: write four numbers from 0 to 255, as in 10.0.1.11");
    return *address;
}

// Without a name, the network is the one that has the address, or else the first that there is.
const Network& NetworkFor(Context& context, const std::optional<std::wstring>& name,
                          const std::optional<std::wstring>& address) {
    if (name) {
        const Network& network = FindNetwork(context, ToUtf8(*name));
        if (!IsForClients(network)) Refuse("Network " + ToUtf8(network.Name()) + " is not for clients");
        return network;
    }
    for (const Network* network : NetworksOf(context))
        if (IsForClients(*network) && (!address || Holds(*network, ParseAddress(*address)))) return *network;
    Refuse(address ? "No network for clients has the address " + ToUtf8(*address) + ". See: ostra network list"
                   : "There is no network for clients. See: ostra network list");
}

std::wstring AddressFor(Context& context, const Network& network, const std::optional<std::wstring>& wanted,
                        const std::wstring& present) {
    const HeldAddresses held(context);
    if (!wanted) return FromUtf8(NextAddress(context, network, held));
    if (!Holds(network, ParseAddress(*wanted)))
        Refuse("The address " + ToUtf8(*wanted) + " is none of network " + ToUtf8(network.Name()) + ", " +
               SubnetText(ToUtf8(network.IPAddress()), ToUtf8(network.SubnetMask())));
    if (*wanted != present && held.Addresses().contains(*wanted))
        Refuse("The address " + ToUtf8(*wanted) + " is in use. See: ostra address list");
    return *wanted;
}

}  // namespace

void ChooseDisk(Context& context, TemplateGroupAnswers& answers, GroupHardware& hardware) {
    if (!answers.Asks(diskField)) return;
    std::unique_ptr<NTClusterDisks> disks;
    RequireRead("The list of disks",
                [&] { disks = std::make_unique<NTClusterDisks>(context.OpenedCluster().ClusterHandle()); });
    const std::optional<std::wstring> wanted = answers.Find(diskField);
    std::string available;
    for (const auto& [drive, disk] : *disks->Availables()) {
        if (!wanted || IsMeant(*wanted, drive, *disk)) {
            answers.Replace(diskField, NumberOf(*disk));
            hardware.drive = ToUtf8(drive);
            return;
        }
        available += (available.empty() ? " Available: " : ", ") + ToUtf8(drive);
    }
    if (!wanted) Refuse("No shared disk is available. See: ostra disk list");
    Refuse("Disk " + ToUtf8(*wanted) + " is not available." + (available.empty() ? " None is." : available) +
           " See: ostra disk list");
}

void ChooseAddress(Context& context, TemplateGroupAnswers& answers, const std::wstring& present,
                   GroupHardware& hardware) {
    if (!answers.Asks(networkField) && !answers.Asks(addressField)) return;
    const std::optional<std::wstring> wanted = answers.Find(addressField);
    const Network& network = NetworkFor(context, answers.Find(networkField), wanted);
    hardware.network = ToUtf8(network.Name());
    answers.Replace(networkField, network.Name());
    if (!answers.Find(maskField)) answers.Replace(maskField, network.SubnetMask());
    if (!answers.Asks(addressField)) return;
    const std::wstring address = AddressFor(context, network, wanted, present);
    hardware.address = ToUtf8(address);
    answers.Replace(addressField, address);
}

void TakeAddress(Context& context, const GroupHardware& hardware) {
    if (!hardware.address.empty()) TakeNamed(context, FindNetwork(context, hardware.network), hardware.address);
}

}  // namespace programs
