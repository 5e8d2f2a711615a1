#include <ostra/foundation/OstraDebug.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/system/registry.h>
#include <programs/ostra/Command.h>
#include <programs/support/Change.h>
#include <programs/support/KeyTree.h>
#include <programs/support/Settings.h>

#include <limits>
#include <optional>

namespace programs {

namespace {

constexpr const wchar_t* debugKey = LR"(HKEY_LOCAL_MACHINE\Software\Norvane\Ostra\OstraDebug)";

constexpr const char* components[] = {"mod0", "ostra", "mod2", "mod3", "mod4", "mod5",
                                      "mod6", "mod7",  "mod8", "mod9", "mod10"};

Json ReadMask() {
    Json enabled = Json::array();
    for (const char* component : components)
        if (OstraDebug::IsDebugEnabled(platform::FromUtf8(component))) enabled.push_back(component);
    const std::unique_ptr<KeyTree> registry = LocalRegistry();
    KeyValue mask;
    mask.name = L"DebugMask";
    HKEY key = nullptr;
    DWORD code = registry->Open(debugKey, KEY_READ, key);
    if (!code) {
        code = registry->Query(key, mask);
        registry->Close(key);
    }
    if (code && ExitCodeOf(code) != ExitCode::NoSuchObject) throw Refusal("The debug mask cannot be read", code);
    return {
        {"mask", code ? "0" : ValueText(mask)}, {"enabled", enabled}, {"logs", platform::StateDirectory() + "/log"}};
}

void ShowMask(Context& context) {
    context.PrintRecord(ReadMask());
}

void SetMask(Context& context, const std::string& text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::optional<DWORD> mask = ParseNumber(std::string_view(text).substr(isHexadecimal ? 2 : 0),
                                                  std::numeric_limits<DWORD>::max(), isHexadecimal ? 16 : 10);
    if (!mask)
        throw CommandError(ExitCode::Usage,
                           "\"" + text + "\" is no mask: give a number such as 2 or 0x2; bit 1 is the library");
    const std::unique_ptr<KeyTree> registry = LocalRegistry();
    const KeyValue value = ParseKeyValue("DebugMask=REG_DWORD:" + std::to_string(*mask));
    const Change change(context, "The debug mask", "written", "ostra debug show");
    change.MakeInRegistry([&] {
        HKEY key = nullptr;
        DWORD code = registry->Create(debugKey, key);
        if (!code) {
            code = registry->Set(key, value);
            registry->Close(key);
        }
        if (code) change.Refuse(code);
    });
    Json record;
    change.Report([&] { record = ReadMask(); });
    context.PrintRecord(record);
}

}  // namespace

void AddDebugCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "debug", "Which programs write a debug log");
    AddCommand(*family, run, "show", "Shows the debug mask and where the logs lie", {"debug show"}, Effect::Reads,
               ShowMask);
    AddNamedCommand(*family, run, "set", "MASK", "Sets the debug mask: bit 1 is the library itself",
                    {"debug set 0x2", "debug set 0"}, Effect::Changes, SetMask);
}

}  // namespace programs
