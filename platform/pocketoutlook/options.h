// How the object model behaves where the platform leaves a choice or a dialog would decide. State of this process;
// every function may be called from any thread.
#pragma once

#include <pimstore.h>

namespace kez::pocketoutlook {

struct Options {
    // Calls on objects of a session that has logged off fail with E_FAIL. Otherwise they go on working, as callers
    // that share one application object and log off early expect.
    bool failAfterLogoff = false;
    // Saving a task refuses a reminder outside its window (not after the due date, at most 45 days before the start).
    bool checkTaskReminderWindow = false;
    // Completing a recurring task and saving it moves the task to its next date.
    bool advanceCompletedTasks = false;

    // What a new appointment starts with.
    bool appointmentReminderSet = true;
    LONG appointmentReminderMinutes = 15;
    LONG reminderOptions = olDialog | olSound;
    // What a new task starts with.
    bool taskReminderSet = false;
};

Options CurrentOptions();
void SetOptions(const Options& options);

}  // namespace kez::pocketoutlook
