#include <programs/support/Context.h>

#include <ostra/cluster/Cluster.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <platform/framework/CStatusBar.h>
#include <platform/system/registry.h>
#include <programs/support/Json.h>
#include <programs/support/Transaction.h>

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <utility>

namespace error = platform::error;

namespace programs {

/// The library's status texts as one line that is overwritten, on a terminal only.
class Context::ProgressLine final : public CStatusBar {
public:
    explicit ProgressLine(const Streams& streams) : _streams(streams) {}
    ~ProgressLine() override { Clear(); }

    BOOL Create(CWnd*, DWORD, UINT) override { return 1; }
    BOOL SetIndicators(const UINT*, int) override { return 1; }
    BOOL SetPaneText(int, const std::wstring& text, BOOL) override {
        Show(platform::ToUtf8(text));
        return 1;
    }
    void UpdateWindow() override { _streams.err.flush(); }

    void Show(const std::string& text) {
        if (!_streams.errIsTerminal) return;
        _streams.err << "\r\x1b[K";
        TextWriter(_streams.err, true).Write(Beginning(text, 100), Tone::Faint);
        _streams.err.flush();
        _isShown = true;
    }

    void Clear() {
        if (_isShown) _streams.err << "\r\x1b[K" << std::flush;
        _isShown = false;
    }

private:
    const Streams& _streams;
    bool _isShown = false;
};

Context::Context(const Streams& streams)
    : _streams(streams), _out(&_streams.out), _progress(std::make_unique<ProgressLine>(_streams)) {}

Context::~Context() {
    ForgetCluster();
    if (!_rehearsedName.empty()) platform::ClusterDirectory::Register(_rehearsedName, nullptr);
}

// What reads the registry takes one that it cannot read for an empty one.
void Context::RequireReadableState() {
    const std::wstring fault = platform::StateDirectoryFault("clusters");
    if (!fault.empty())
        throw CommandError(ExitCode::Unreachable, "The state directory cannot be used: " + platform::ToUtf8(fault) +
                                                      " OSTRA_HOME names another.");
    HKEY key = nullptr;
    const auto code = static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_READ, &key));
    if (!code) RegCloseKey(key);
    if (ExitCodeOf(code) != ExitCode::Done && ExitCodeOf(code) != ExitCode::NoSuchObject)
        throw CommandError(ExitCode::Unreachable, "This machine's registry cannot be read: " +
                                                      platform::StateDirectory() + "/registry.db: " + CauseText(code));
}

std::wstring Context::ClusterName() {
    std::wstring name;
    if (const DWORD code = Service().Information(name))
        throw CommandError(ExitCode::Unreachable, "The cluster cannot be asked for its name: " + CauseText(code));
    return name;
}

platform::ClusterService& Context::Service() {
    if (_service) return *_service;
    const DWORD code = platform::ClusterDirectory::Resolve(platform::FromUtf8(options.cluster), _service);
    if (!code) return *_service;
    const StringArray names = platform::ClusterDirectory::Names();
    std::string known;
    for (const std::wstring& name : names) known += (known.empty() ? "" : ", ") + platform::ToUtf8(name);
    const char* chosen = std::getenv("OSTRA_CLUSTER");
    std::string text;
    if (names.empty())
        text = "There is no cluster yet. Create one with: ostra cluster create NAME";
    else if (options.cluster.empty() && code == error::InvalidParameter)
        text = "There are several clusters. Name one with --cluster or in OSTRA_CLUSTER: " + known;
    else if (code == error::FileNotFound && options.cluster.empty() && chosen)
        text = std::string("There is no cluster named \"") + chosen +
               "\", as OSTRA_CLUSTER says. Known clusters: " + known;
    else if (code == error::FileNotFound)
        text = "There is no cluster named \"" + options.cluster + "\". Known clusters: " + known;
    else
        text = (options.cluster.empty() ? "The cluster" : "Cluster " + options.cluster) +
               " cannot be reached: " + CauseText(code) + " Known clusters: " + known;
    throw CommandError(ExitCode::Unreachable, text);
}

platform::ClusterAdministration& Context::Administration() {
    if (platform::ClusterAdministration* administration = Service().Administration()) return *administration;
    throw CommandError(ExitCode::Refused, "This cluster's engine does not offer that.");
}

OstraDLL::Cluster& Context::OpenedCluster() {
    if (_cluster) return *_cluster;
    const std::wstring name = ClusterName();
    _progress->Show("Initiating Cluster " + platform::ToUtf8(name));
    auto cluster = std::make_unique<OstraDLL::Cluster>(name, 0, 0);
    cluster->SetStatusBar(_progress.get());
    const int isOpen = cluster->Open(0);
    _progress->Clear();
    if (!isOpen)
        throw CommandError(ExitCode::Unreachable,
                           "Cluster " + platform::ToUtf8(name) + " cannot be opened: " + CauseText(GetLastError()));
    _cluster = std::move(cluster);
    return *_cluster;
}

OstraDLL::Cluster& Context::Cluster() {
    OstraDLL::Cluster& cluster = OpenedCluster();
    if (!_isDiscovered) {
        cluster.Discover();
        _progress->Clear();
        _isDiscovered = true;
    }
    return cluster;
}

void Context::Transact(const std::string& what, const std::function<void()>& steps) {
    RunTransaction(
        what, [this](const auto& transaction) { return Service().Transact(transaction); }, steps);
}

void Context::ForgetCluster() {
    _kept.clear();
    _cluster.reset();
    _isDiscovered = false;
    _service.reset();
}

DWORD Context::CreateCluster(const std::wstring& name,
                             const std::function<DWORD(platform::ClusterService& made)>& fill) {
    std::shared_ptr<platform::ClusterService> service;
    if (!options.isRehearsal) return platform::ClusterDirectory::Create(name, L"embedded", service, fill);
    for (const std::wstring& known : platform::ClusterDirectory::Names())
        if (platform::EqualIgnoringCase(known, name)) return error::AlreadyExists;
    if (!platform::IsSafeFileName(name)) return error::InvalidName;
    if (const DWORD code = platform::CreateEmbeddedCluster(name, service)) return code;
    if (const DWORD code = fill(*service)) return code;
    platform::ClusterDirectory::Register(name, service);
    _rehearsedName = name;
    return error::Success;
}

DWORD Context::DeleteCluster(const std::wstring& name) {
    if (!options.isRehearsal) return platform::ClusterDirectory::Delete(name);
    _isDeleted = true;
    return error::Success;
}

std::string Context::Capture(const std::function<void()>& action) {
    struct Redirection {
        explicit Redirection(Context& redirected) : context(redirected) { context.Redirect(&captured); }
        ~Redirection() { context.Redirect(nullptr); }
        Context& context;
        std::ostringstream captured;
    };
    const Redirection redirection(*this);
    action();
    return redirection.captured.str();
}

void Context::PrintList(const std::vector<Column>& columns, const Json& rows) {
    if (options.isJson) {
        Json document = rows;
        for (Json& row : document)
            for (const Column& column : columns) row.emplace(column.key, nullptr);  // unless it is there
        return PrintJson(document);
    }
    TextWriter writer = Text();
    WriteTable(writer, columns, rows);
}

void Context::PrintRecord(const Json& record) {
    if (options.isJson) return PrintJson(record);
    TextWriter writer = Text();
    WriteRecord(writer, record);
}

void Context::Say(const std::string& text, Tone tone) {
    if (options.isJson) return;
    Text().Line(text, tone);
    Flush();
}

void Context::Write(const std::string& text) {
    *_out << text;
}

void Context::PrintJson(const Json& document) {
    *_out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void Context::Warn(const std::string& text) {
    _progress->Clear();
    TextWriter(_streams.err, false).Line(text);
}

void Context::PrintJsonLine(const Json& document) {
    *_out << document.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    Flush();
}

void Context::PrintText(const std::string& lines) {
    if (options.isJson) return PrintJson({{"text", lines}});
    *_out << lines;
}

void Context::Flush() {
    if (_out->flush()) return;
    const bool isStandard = &_streams.out == &std::cout;
    throw CommandError(ExitCode::Refused,
                       isStandard && IsReaderGone(STDOUT_FILENO) ? "" : "The output cannot be written");
}

bool Context::Confirm(const std::string& question) {
    if (options.isConfirmed || options.isRehearsal) return true;
    if (!_streams.isInteractive) return false;
    _streams.err << question << " [y/N] " << std::flush;
    std::string answer;
    std::getline(_streams.in, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

bool Context::WaitUntil(const std::function<bool()>& isSettled) {
    constexpr DWORD stepMilliseconds = 200;
    const int steps = options.waitSeconds * 1000 / static_cast<int>(stepMilliseconds);
    for (int step = 0;; ++step) {
        if (isSettled()) return true;
        if (step >= steps) return false;
        platform::Sleep(stepMilliseconds);
    }
}

void Context::SetProgress(const std::string& text) {
    _progress->Show(text);
}

}  // namespace programs
