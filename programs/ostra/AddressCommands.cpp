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
        for (const HeldAddresses::Record& record : held.Records()) {
            const std::string address = ToUtf8(record.address);
            if (address.empty()) continue;
            rows.push_back({{"name", address}, {"address", address}, {"network", ToUtf8(record.network)}});
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
