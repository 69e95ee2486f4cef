// The tables in which the change writer leaves what happened to PIM records, one for each type of item.
//
// The volume "\KezDBNotify.vol" holds "\KEZDeltaA" (contacts), "\KEZDeltaD" (appointments) and "\KEZDeltaT" (tasks).
// A change record says of one PIM record what each of the two partners still has to hear of it:
//   0x00010013  identifier of the PIM record; the primary key
//   0xFFFD0013  state for partner 0
//   0xFFFE0013  state for every other partner
// A state is 0 for nothing, 1 for added or changed, 2 for deleted.
//
// Attached to a change record, where those who read its properties do not see it, is the device clock of the last
// change. It stays when a state is cleared, and goes with the record.
#pragma once

#include <windbase.h>

#include <array>
#include <cstdint>
#include <map>

namespace kez::changewriter {

inline constexpr LPCWSTR kChangeVolume = TEXT("\\KezDBNotify.vol");
inline constexpr LPCWSTR kPimVolume = TEXT("\\pim.vol");
inline constexpr LPCWSTR kTriggerFile = TEXT("\\KezChgFile.kez");

inline constexpr CEPROPID kItemOid = 0x00010013;
inline constexpr CEPROPID kStateOfPartner0 = 0xFFFD0013;
inline constexpr CEPROPID kStateOfOthers = 0xFFFE0013;

inline constexpr DWORD kTimeOfChange = 1;           // the kind of the attachment; its key is 0
inline constexpr CEPROPID kChangedAt = 0x00010040;  // as a FILETIME counts

inline constexpr DWORD kStateChanged = 1;
inline constexpr DWORD kStateDeleted = 2;

struct ChangeTable {
    LPCWSTR pimDatabase;
    LPCWSTR table;
};
inline constexpr std::array<ChangeTable, 3> kChangeTables = {{
    {TEXT("Contacts Database"), TEXT("\\KEZDeltaA")},
    {TEXT("Appointments Database"), TEXT("\\KEZDeltaD")},
    {TEXT("Tasks Database"), TEXT("\\KEZDeltaT")},
}};

// Makes the volume and its tables where they are missing; what is there stays as it is. Throws
// propertydb::VolumeError.
void CreateChangeTables();

// When the items that a table of the open device tells of were last changed or deleted, as a FILETIME counts; items
// of which that is not known are left out. Throws propertydb::VolumeError.
std::map<CEOID, std::uint64_t> ChangeTimes(const ChangeTable& table);

}  // namespace kez::changewriter
