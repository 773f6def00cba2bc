#include "Host/Runtime/Tasks.h"

#include "Host/Runtime/Host.h"

#include <chrono>
#include <thread>

namespace host {

int Tasks::Add(const Task &task)
{
    tasks.emplace(++last, task);
    return last;
}

void Tasks::Remove(int identifier)
{
    // What a host without registration answered instead of an identifier is no fault.
    if (identifier < 1 || tasks.erase(identifier) == 1) return;
    Host::Current().ledger.Error("a background task was removed that is not there: " + std::to_string(identifier));
}

void Tasks::Step()
{
    const int newest = last;
    int current = 0;
    for (auto next = tasks.begin(); next != tasks.end() && next->first <= newest; next = tasks.upper_bound(current)) {
        current = next->first;
        Task task = next->second;
        task.procedure(task.data);
        Host::Current().exceptions.ThrowPending();
    }
}

bool Tasks::Run(double seconds, const std::function<bool()> &condition)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    const Events &events = Host::Current().events;
    for (;;) {
        if (condition && condition()) return true;
        if (Clock::now() >= end) return false;
        long before = events.Fired();
        Step();
        if (events.Fired() == before) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

int entry::REALRegisterBackgroundTask(void (*procedure)(void *), unsigned int period, void *data)
{
    return Host::Current().tasks.Add({procedure, period, data});
}

void entry::REALUnregisterBackgroundTask(int identifier)
{
    Host::Current().tasks.Remove(identifier);
}

} // namespace host
