// The accessors of an appointment, whether it is a single one, a series or one occurrence of a series, and the rules
// that couple its values: start, duration and end; the all-day flag; recipients and meeting status.
//
// Start and duration are kept. Putting the start keeps the duration and moves the end; putting an end changes the
// duration, unless it lies before the start: then the start moves back and the duration stays. An all-day appointment
// is brought into its stored form by Save, not by the setters: midnight, and whole days.
#pragma once

#include <pimstore.h>

#include <memory>
#include <optional>
#include <vector>

#include "platform/pocketoutlook/item_face.h"
#include "platform/pocketoutlook/recipients.h"
#include "platform/pocketoutlook/recurring_item.h"

namespace kez::pocketoutlook {

class AppointmentBase : public ItemFace<IAppointment>, public RecurringItem {
 public:
    using RecurringItem::AddRef;
    using RecurringItem::Release;

    // --- IAppointment ----------------------------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() override;
    HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern** out) override;
    HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_Subject(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_Location(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_Start(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_Duration(LONG* minutes) override;
    HRESULT STDMETHODCALLTYPE get_End(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_AllDayEvent(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_BusyStatus(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Recipients(IRecipients** out) override;
    HRESULT STDMETHODCALLTYPE get_MeetingStatus(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderMinutesBeforeStart(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG* out) override;
    HRESULT STDMETHODCALLTYPE put_Subject(BSTR in) override;
    HRESULT STDMETHODCALLTYPE put_Location(BSTR in) override;
    HRESULT STDMETHODCALLTYPE put_Start(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_Duration(LONG minutes) override;
    HRESULT STDMETHODCALLTYPE put_End(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_AllDayEvent(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_BusyStatus(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderMinutesBeforeStart(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG in) override;
    HRESULT STDMETHODCALLTYPE Send() override;
    HRESULT STDMETHODCALLTYPE Cancel() override;

    // The list as it will be saved. Read from the store when it is asked for first.
    std::vector<std::shared_ptr<RecipientData>>& Recipients();

    // --- What the item base asks -----------------------------------------------------------------------------
    IDispatch* Typed() override { return static_cast<IAppointment*>(this); }
    REFIID TypedId() const override { return IID_IAppointment; }
    std::optional<Value> Calculated(CEPROPID id, const PropertyBag& values) const override;
    HRESULT PutValue(const PropertyRow& row, const Value* value) override;

 protected:
    explicit AppointmentBase(std::shared_ptr<Session> session);

    ItemBase& Item() override { return *this; }
    Day FirstDay() const override;
    std::optional<Span> SpanOf(const PropertyBag& values) const override;
    void PutSpan(const Span& span) override;

    // The recipients that the store has for this item.
    virtual std::vector<RecipientData> StoredRecipients() = 0;
    bool RecipientsChanged() const;
    std::vector<RecipientData> RecipientValues();
    // The list in memory is the one that was saved.
    void RecipientsSaved();
    void CopyRecipientsFrom(AppointmentBase& from);

    // The stored form of an all-day appointment: midnight, whole days, one at least.
    void NormaliseAllDay();
    void UpdateMeetingStatus();

 private:
    HRESULT PutStart(WallTicks start);
    HRESULT PutEnd(WallTicks end);

    bool m_recipientsLoaded = false;
    std::vector<std::shared_ptr<RecipientData>> m_recipients;
    std::vector<RecipientData> m_savedRecipients;
};

}  // namespace kez::pocketoutlook
