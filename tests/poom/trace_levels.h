// The level of every trace of the bridge. The fixture holds each line that a test makes against this table, so that a
// level, or a text that begins in another way, cannot change unseen where a test looks at texts alone.
#pragma once

#include <gtest/gtest.h>

#include <cstring>

#include "tests/doubles/recorded_trace.h"

namespace kez::tests {

struct LevelRow {
    LONG level;
    const char* beginning;
};

// The first row that fits a line decides.
// clang-format off
inline constexpr LevelRow kTraceLevels[] = {
    {0, "OUT OF MEMORY"},
    {0, "CCEPoom::SerializeApptItem  Failed"},
    {0, "SerializeApptItem FAILED"},
    {0, "CCEPoom::SetRecExceptionLst failed"},
    {0, " CCEPoom::GetRecurring::m_pRec=="},
    {50, "CCEPoom::CCEPoom"},
    {50, "CCEPoom::~CCEPoom"},
    {50, "CCEPoom::Logoff"},
    {50, "CCEPoom::ReleaseItems"},
    {0, "CCEPoom::Logon"},
    {0, "CCEPoom::InitializeItem"},
    {0, "CKezAspDB::InitializeItem"},
    {0, "hr = "},
    {25, "CCEPoom::InitializeType"},
    {25, "Getting default folder"},
    {25, "Retrieving collection"},
    {25, "Collection retrieved"},
    {25, "m_pCollection already set"},
    {25, "m_bInInitializeType =="},
    {25, "Slept for"},
    {25, "CCEPoom::GetRecordCount"},
    {25, "CCEPoom::GetNextID"},
    {25, "CCEPoom::Purge"},
    {25, "Unable to purge"},
    {25, "Purging record"},
    {25, "pItem->Delete"},
    {25, "CCEPoom::GetProps"},
    {25, "Invalid pProps"},
    {25, "Retrieved props"},
    {25, "Converting"},
    {25, "prop["},
    {25, "Reading stream"},
    {25, "Failed to open stream"},
    {25, "Stream opened"},
    {25, "stat.cbSize"},
    {25, "Read "},
    {25, "Done reading stream"},
    {25, "WARNING!!"},
    {0, "CCEPoom::Save"},
    {50, "Appt->Duration"},
    {0, "CKezAspDBContact::PropToPoom"},
    {0, "CKezAspDBTask::PropToPoom"},
    {25, "PropToPoom BirthDate"},
    {25, "Writing picture field"},
    {25, "No data to write"},
    {25, "Opening property"},
    {25, "Writing stream"},
    {25, "Write failed"},
    {25, "Commit failed"},
    {25, "Done writing property"},
    {25, "Unhandled prop"},
    {25, "\t\tPropVal"},
    {75, "CKezAspDBAppt::PropToPoom"},
    {75, "Subject: "},
    {75, "Duration: "},
    {75, "AllDay: "},
    {50, " CCEPoom::GetRecurring"},
    {0, "CEPoom::GetRecurring"},
    {50, " CCEPoom::GetRecExceptionLst +"},
    {50, " CCEPoom::GetRecExceptionLst -"},
    {50, " CCEPoom::SetRecExceptionLst +"},
    {50, " CCEPoom::SetRecExceptionLst -"},
    {50, "CCEPoom::SerializeApptItem   "},
    {25, " CCEPoom::GetRecExceptionLst"},
    {25, "CCEPoom::GetRecExceptionLst"},
    {25, "GetRecExceptionLst"},
    {25, " CCEPoom::SetRecExceptionLst"},
    {25, "CCEPoom::SetRecExceptionLst"},
    {25, "SerializeApptItem"},
    {50, " CCEPoom::GetCategories"},
    {50, " CCEPoom::SetCategories"},
    {50, " CCEPoom::GetNote"},
    {50, " CCEPoom::SetNote"},
    {50, "CAT::"},
    {50, "NOTE::"},
    {50, "AddrOfPbuf"},
    {0, " CCEPoom::GetRecipients"},
    {0, "CEPoom::GetRecipients"},
    {0, " CCEPoom::SetRecipients"},
    {0, "CEPoom::SetRecipients"},
    {0, "Recipient="},
    {0, "Address="},
};
// clang-format on

inline void ExpectItsLevel(const TraceLine& line) {
    for (const LevelRow& row : kTraceLevels) {
        if (line.text.compare(0, std::strlen(row.beginning), row.beginning) != 0) continue;
        EXPECT_EQ(line.level, row.level) << line.text;
        return;
    }
    ADD_FAILURE() << "a trace that begins like none of the bridge: " << line.text;
}

}  // namespace kez::tests
