// Conversions between the platform's kinds of time, and the item interface.
#include "poom/platform_support.h"

HRESULT QueryItem(IUnknown* item, IItem** out) {
    *out = nullptr;
    if (item == nullptr) return E_POINTER;
    return item->QueryInterface(IID_IItem, reinterpret_cast<void**>(out));
}

void FreeItemString(IPOutlookApp2* application, BSTR text) {
    if (application == nullptr || FAILED(application->SysFreeString(text))) SysFreeString(text);
}

DATE FileTimeToDate(const FILETIME& time) {
    SYSTEMTIME parts = {};
    DATE date = 0.0;
    if (FileTimeToSystemTime(&time, &parts)) SystemTimeToVariantTime(&parts, &date);
    return date;
}

FILETIME DateToFileTime(DATE date) {
    SYSTEMTIME parts = {};
    FILETIME time = {};
    if (VariantTimeToSystemTime(date, &parts)) SystemTimeToFileTime(&parts, &time);
    return time;
}
