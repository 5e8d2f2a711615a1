#pragma once

#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>
#include <programs/support/ExitCode.h>
#include <programs/support/Output.h>

#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

class ClusterComponent;

namespace OstraDLL {
class Cluster;
}

namespace programs {

/// Where a run of a program reads and writes; tests hand in streams of their own.
struct Streams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool isInteractive = false;  ///< someone can answer questions
    bool outIsColoured = false;
    bool errIsTerminal = false;  ///< progress lines are welcome
};

/// What every command can be told.
struct Options {
    std::string cluster;  ///< empty: the one that OSTRA_CLUSTER names, or the only one
    bool isJson = false;
    bool isTraced = false;
    bool isRehearsal = false;
    bool isConfirmed = false;
    int waitSeconds = 0;
};

/// One run of a command: its options, its streams and the cluster it works on.
class Context {
public:
    explicit Context(const Streams& streams);
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    Options options;

    /// Ends the command when this user cannot use the state directory, or the registry in it cannot be read: they would
    /// seem to be empty.
    static void RequireReadableState();
    /// The cluster's name as it will be opened; ends the command when there is none or no telling which.
    std::wstring ClusterName();
    /// The service behind the cluster's name.
    platform::ClusterService& Service();
    /// The engine's own side; ends the command when the engine has none.
    platform::ClusterAdministration& Administration();
    /// The object model, opened on first use; without nodes, groups and resources until Cluster is asked for.
    OstraDLL::Cluster& OpenedCluster();
    /// The same, discovered on first use, every node with every group. Status texts show as progress meanwhile.
    OstraDLL::Cluster& Cluster();
    /// Runs `steps` as one transaction of the cluster: nobody else sees or makes a change in between. What they throw
    /// undoes all of it and goes on to the caller; a transaction that is refused ends the command with "WHAT: cause".
    void Transact(const std::string& what, const std::function<void()>& steps);
    /// Keeps an object of the cluster until ForgetCluster.
    template <typename Object>
    Object& Keep(std::unique_ptr<Object> object) {
        Object& kept = *object;
        _kept.push_back(std::move(object));
        return kept;
    }
    /// Lets go of the object model and of what was kept: all is read again on the next use.
    void ForgetCluster();

    /// Makes a cluster of the embedded engine, which `fill` makes whole, or deletes one; in a rehearsal, for this
    /// process only.
    DWORD CreateCluster(const std::wstring& name, const std::function<DWORD(platform::ClusterService& made)>& fill);
    DWORD DeleteCluster(const std::wstring& name);
    bool IsClusterDeleted() const { return _isDeleted; }

    /// Writes a list: a table for people, an array of objects for programs.
    void PrintList(const std::vector<Column>& columns, const Json& rows);
    /// Writes one object.
    void PrintRecord(const Json& record);
    /// A line for people only; nothing with --json.
    void Say(const std::string& text, Tone tone = Tone::Plain);
    /// The document of a --json run, when a command writes text by itself otherwise.
    void PrintJson(const Json& document);
    /// One object of a stream that goes on: a line of its own, written at once.
    void PrintJsonLine(const Json& document);
    /// A text as it stands.
    void Write(const std::string& text);
    /// Lines that are a document of their own; with --json the member "text" of an object.
    void PrintText(const std::string& lines);
    /// Ends the command when what it wrote cannot get to where it goes; without words when its reader is gone.
    void Flush();
    TextWriter Text() { return TextWriter(*_out, _streams.outIsColoured); }
    void Warn(const std::string& text);

    /// Asks a question that yes or no answers; without a terminal the answer is no. --yes answers yes.
    bool Confirm(const std::string& question);

    /// Waits until `isSettled` or until the time given by --wait is over; false when it is over.
    bool WaitUntil(const std::function<bool()>& isSettled);

    const Streams& Channels() const { return _streams; }
    /// Runs `action` and returns what it wrote to its output.
    std::string Capture(const std::function<void()>& action);
    void SetProgress(const std::string& text);

private:
    class ProgressLine;

    /// Where the command's own output goes from now on; null is the stream it began with.
    void Redirect(std::ostream* out) { _out = out ? out : &_streams.out; }

    Streams _streams;
    std::ostream* _out;
    std::unique_ptr<ProgressLine> _progress;
    std::shared_ptr<platform::ClusterService> _service;
    std::unique_ptr<OstraDLL::Cluster> _cluster;
    std::vector<std::unique_ptr<ClusterComponent>> _kept;
    bool _isDiscovered = false;
    std::wstring _rehearsedName;  // a cluster made for a rehearsal only
    bool _isDeleted = false;
};

}  // namespace programs
