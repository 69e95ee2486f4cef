// One occurrence of a series. Its values are the series' own until they are changed and saved: then they become an
// exception of the series, at once and without a Save of the series object. Deleting it makes a deleted exception.
#pragma once

#include <pimstore.h>

#include "platform/pocketoutlook/appointment_base.h"
#include "platform/pocketoutlook/series.h"

namespace kez::pocketoutlook {

class OccurrenceItem final : public AppointmentBase {
 public:
    // `day` is the one on which the series would have it begin. StartFrom fails where there is no such occurrence.
    OccurrenceItem(std::shared_ptr<Session> session, Day day) : AppointmentBase(std::move(session)), m_day(day) {}

    // An occurrence has no pattern of its own.
    HRESULT GetPattern(IRecurrencePattern**) override { return E_FAIL; }
    HRESULT ClearPattern() override { return E_FAIL; }

    HRESULT SaveItem() override;
    HRESULT DeleteItem() override;
    std::optional<PropertyBag> ReadRecord(CEOID oid) const override;

 protected:
    std::vector<RecipientData> StoredRecipients() override;
    // An occurrence that moves leaves its series where it is.
    void MovePatternStart(Day) override {}

 private:
    HRESULT WriteException();

    Day m_day;
    bool m_gone = false;  // deleted through this object
};

}  // namespace kez::pocketoutlook
