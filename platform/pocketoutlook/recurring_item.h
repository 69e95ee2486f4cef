// What appointments and tasks have in common: an item that may recur. The pattern in use is part of the item's values,
// so that it is saved, copied and taken back with them; a pattern that was fetched but never given a type lives beside
// them and is never saved.
#pragma once

#include <pimstore.h>

#include <memory>
#include <optional>
#include <vector>

#include "platform/pocketoutlook/item_base.h"
#include "platform/pocketoutlook/series_pattern.h"
#include "platform/pocketoutlook/wall_time.h"

namespace kez::pocketoutlook {

// One exception of a series, as a list of them shows it.
struct ExceptionEntry {
    WallTicks original = 0;  // when the occurrence would have begun
    bool deleted = false;
};

class RecurringItem : public ItemBase {
 public:
    bool IsRecurring() const { return Values().Flag(PIMPR_IS_RECURRING); }

    // The pattern object of this item. An item that is one occurrence of a series has none: E_FAIL.
    virtual HRESULT GetPattern(IRecurrencePattern** out);
    // Makes the item a single one; its exceptions go with the next Save. S_OK on an item that is single.
    virtual HRESULT ClearPattern();

    // --- For the pattern object ------------------------------------------------------------------------------
    // The pattern in use, or the one that still waits for its type.
    Pattern CurrentPattern() const;
    // The first successful call makes the item recurring. E_INVALIDARG for a type that there is not.
    HRESULT PutRecurrenceType(LONG type);
    // Runs a setter of Pattern on the current pattern and keeps the result.
    template <class Setter>
    HRESULT ChangePattern(Setter&& setter) {
        Pattern pattern = CurrentPattern();
        const HRESULT hr = setter(pattern);
        if (SUCCEEDED(hr)) KeepPattern(pattern);
        return hr;
    }
    HRESULT PutPatternStart(DATE date);
    // Start and length of the item, with the times that were put into its pattern; nothing for items without times of
    // day, which accept such times and ignore them.
    std::optional<Span> PatternSpan() const;
    void PutPatternTime(std::optional<WallTicks> PatternTimes::*time, DATE date);
    HRESULT PutPatternMinutes(LONG minutes);

    // The exceptions of the stored series, ascending by original start. Good until the next call.
    virtual const std::vector<ExceptionEntry>& Exceptions();
    virtual HRESULT OpenException(WallTicks original, IAppointment** out);
    // E_FAIL on an unsaved series, E_INVALIDARG for a day without an occurrence; the time of day is not looked at.
    virtual HRESULT GetOccurrence(DATE date, IAppointment** out);

    std::optional<Value> Calculated(CEPROPID id, const PropertyBag& values) const override;

 protected:
    using ItemBase::ItemBase;

    // The day that a new pattern starts on.
    virtual Day FirstDay() const = 0;
    virtual std::optional<Span> SpanOf(const PropertyBag& values) const = 0;
    virtual void PutSpan(const Span& span) = 0;

    // What was put into the pattern's times no longer counts: the item was saved, or its own times were put.
    void ForgetPatternTimes() { m_times = {}; }
    // Where the item recurs, its pattern starts on this day from now on.
    virtual void MovePatternStart(Day day);
    // Whether the pattern was cleared since the item was saved.
    bool PatternWasCleared() const { return m_cleared; }

    void AfterSave() override;

 private:
    void KeepPattern(const Pattern& pattern);

    PatternTimes m_times;
    Pattern m_unused;                  // while the item is single
    std::optional<Day> m_unusedStart;  // the start that was put into it
    bool m_cleared = false;
};

}  // namespace kez::pocketoutlook
