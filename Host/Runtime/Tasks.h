// Background tasks and the host's loop.
//
// Each turn of the loop runs every task once. The period that a plugin asks for is kept but has no effect: after a turn
// in which no event fired, the loop rests for about a millisecond.
#pragma once

#include <functional>
#include <map>

namespace host {

struct Task {
    void (*procedure)(void *);
    unsigned int period;
    void *data;
};

class Tasks {
  public:
    int Add(const Task &task);
    void Remove(int identifier);

    // One turn. Tasks may come and go meanwhile; those that come wait for the next turn. What a task throws or
    // leaves pending ends the turn.
    void Step();

    // Turns until the time is over or the condition holds, which is looked at before each turn. True when it held.
    bool Run(double seconds, const std::function<bool()> &condition = {});

    const std::map<int, Task> &Live() const { return tasks; } // by identifier

  private:
    std::map<int, Task> tasks;
    int last = 0;
};

} // namespace host
