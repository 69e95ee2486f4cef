// An appointment with a record of its own: a single one or a series.
#pragma once

#include <pimstore.h>

#include "platform/pocketoutlook/appointment_base.h"
#include "platform/pocketoutlook/series.h"

namespace kez::pocketoutlook {

class AppointmentItem final : public AppointmentBase {
 public:
    explicit AppointmentItem(std::shared_ptr<Session> session) : AppointmentBase(std::move(session)) {}

    // --- Series ----------------------------------------------------------------------------------------------
    const std::vector<ExceptionEntry>& Exceptions() override;
    HRESULT OpenException(WallTicks original, IAppointment** out) override;
    HRESULT GetOccurrence(DATE date, IAppointment** out) override;
    std::optional<DATE> NextOccurrence(DATE after) const override;
    HRESULT OpenOccurrence(DATE start, IDispatch** out) override;

    // --- What the item base asks -----------------------------------------------------------------------------
    void SetDefaults(PropertyBag& values) override;
    HRESULT Prepare() override;
    bool DetailsChanged() const override;
    void WriteDetails(ItemStore::Transaction& transaction, CEOID oid) override;
    void AfterSave() override;
    void CopyDetailsFrom(ItemBase& from) override;

 protected:
    std::vector<RecipientData> StoredRecipients() override;

 private:
    HRESULT PrepareSeries();
    void WriteExceptions(ItemStore::Transaction& transaction, CEOID oid) const;
    std::optional<Series> StoredSeries() const;
    HRESULT OpenDay(Day day, IAppointment** out);

    // Exceptions of the series that this item is an unsaved copy of, and the shape that they belong to.
    std::vector<DetailRow> m_copiedExceptions;
    std::optional<SeriesShape> m_copiedShape;

    std::vector<ExceptionEntry> m_exceptions;
    std::optional<std::uint64_t> m_exceptionsAt;  // the change counter for which they are good
};

}  // namespace kez::pocketoutlook
