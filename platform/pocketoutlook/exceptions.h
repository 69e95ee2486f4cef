// The exceptions of a series: a read-only list, 1-based, of deleted and changed occurrences in the order of their
// original starts. List and entries show what the store holds at each call; deleting an occurrence while the list is
// walked leaves its entry in place, as a deleted one.
#pragma once

#include <pimstore.h>

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/recurring_item.h"

namespace kez::pocketoutlook {

class ExceptionList final : public ComObject<IExceptions, IID_IDispatch, IID_IExceptions> {
 public:
    explicit ExceptionList(Ref<RecurringItem> item) : m_item(std::move(item)) {}

    HRESULT STDMETHODCALLTYPE Item(INT index, IException** out) override;
    HRESULT STDMETHODCALLTYPE get_Count(INT* count) override;
    HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;

 private:
    Ref<RecurringItem> m_item;
};

class ExceptionItem final : public ComObject<IException, IID_IDispatch, IID_IException> {
 public:
    ExceptionItem(Ref<RecurringItem> item, WallTicks original) : m_item(std::move(item)), m_original(original) {}

    HRESULT STDMETHODCALLTYPE get_AppointmentItem(IAppointment** out) override;
    HRESULT STDMETHODCALLTYPE get_OriginalDate(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_Deleted(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;

 private:
    Ref<RecurringItem> m_item;
    WallTicks m_original;
};

}  // namespace kez::pocketoutlook
