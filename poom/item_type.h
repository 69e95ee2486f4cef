// The three types of items and everything that follows from the type alone.
#pragma once

#include <pimstore.h>

struct ItemType {
    DWORD databaseType;  // of the platform's database
    DWORD letter;        // by which the change tracking names the type
    OlDefaultFolders folder;
    OlItemType item;  // what CreateItem takes
};

inline constexpr ItemType kContactType = {24, 'A', olFolderContacts, olContactItem};
inline constexpr ItemType kAppointmentType = {25, 'D', olFolderCalendar, olAppointmentItem};
inline constexpr ItemType kTaskType = {26, 'T', olFolderTasks, olTaskItem};

// The type that a database type or a letter stands for; null for any other code.
const ItemType* ItemTypeOf(DWORD dwDBType);
