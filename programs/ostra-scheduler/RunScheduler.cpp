#include <programs/ostra-scheduler/RunScheduler.h>

#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <programs/ostra-scheduler/InstanceLock.h>
#include <programs/ostra-scheduler/RequestListener.h>
#include <programs/ostra-scheduler/Server.h>
#include <programs/support/Context.h>
#include <programs/support/ExitCode.h>

#include <csignal>
#include <utility>

namespace programs {

void RunScheduler(bool isOnce, std::function<void(const std::string&)> say) {
    Context::RequireReadableState();
    const InstanceLock lock;
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the lines may go; the jobs stay
    SignalWaiter waiter;            // before the listener, whose thread is to leave the signals alone
    Journal journal(std::move(say));
    Server server(waiter, journal);
    if (isOnce) {
        const std::size_t count = server.CarryOutDue();
        if (count) journal.Say(L"Jobs carried out: " + std::to_wstring(count));
        server.RequireAllDone();
        if (!count) journal.Say(L"No job was due.");
        return;
    }
    const RequestListener listener([&server](const ScheduleRequest& request) { return server.Answer(request); });
    if (!listener.IsListening())
        journal.Warn(L"Requests cannot be received and jobs that are added are noticed later: " +
                     platform::FromUtf8(CauseText(GetLastError())));
    journal.Inform(L"The scheduler has started.");
    server.Serve();
    journal.Inform(L"The scheduler has ended.");
}

}  // namespace programs
