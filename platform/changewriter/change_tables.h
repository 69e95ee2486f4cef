// The tables in which the change writer leaves what happened to PIM records, one for each type of item.
//
// The volume "\KezDBNotify.vol" holds "\KEZDeltaA" (contacts), "\KEZDeltaD" (appointments) and "\KEZDeltaT" (tasks).
// A change record says of one PIM record what each of the two partners still has to hear of it:
//   0x00010013  identifier of the PIM record; the primary key
//   0xFFFD0013  state for partner 0
//   0xFFFE0013  state for every other partner
// A state is 0 for nothing, 1 for added or changed, 2 for deleted.
#pragma once

#include <windbase.h>

#include <array>

namespace kez::changewriter {

inline constexpr LPCWSTR kChangeVolume = TEXT("\\KezDBNotify.vol");
inline constexpr LPCWSTR kPimVolume = TEXT("\\pim.vol");
inline constexpr LPCWSTR kTriggerFile = TEXT("\\KezChgFile.kez");

inline constexpr CEPROPID kItemOid = 0x00010013;
inline constexpr CEPROPID kStateOfPartner0 = 0xFFFD0013;
inline constexpr CEPROPID kStateOfOthers = 0xFFFE0013;

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

}  // namespace kez::changewriter
