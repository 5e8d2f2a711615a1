#include <ostra/network/TCPIPAddress.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/AddressPools.h>

using platform::ToUtf8;

namespace programs {

namespace {

void ListAddresses(Context& context) {
    Json rows = Json::array();
    context.Transact("The addresses cannot be listed", [&] {
        const HeldAddresses held(context);
        for (const CObject* object : held.Records()) {
            const auto* record = static_cast<const TCPIPAddress*>(object);
            const std::string address = ToUtf8(record->Address());
            if (address.empty()) continue;
            rows.push_back({{"name", address}, {"address", address}, {"network", ToUtf8(record->AdapterName())}});
        }
    });
    if (rows.empty()) context.Say("No resource of type \"IP Address\" holds an address.");
    if (!rows.empty() || context.options.isJson)
        context.PrintList({{"address", "ADDRESS"}, {"network", "NETWORK"}}, rows);
}

}  // namespace

void AddAddressCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "address", "The addresses that resources hold");
    AddCommand(*family, run, "list", "Lists the addresses of all \"IP Address\" resources with their networks",
               {"address list", "address list --json"}, Effect::Reads, ListAddresses);
}

}  // namespace programs
