// The layouts and slot positions that programs built for the platform rely on.
#include <cesync.h>
#include <gtest/gtest.h>
#include <pimstore.h>

namespace {

template <class Method>
std::size_t Slot(Method method) {
    // In the C++ ABI of the host a pointer to a virtual member holds the offset in the table plus one.
    std::uintptr_t offset = 0;
    std::memcpy(&offset, &method, sizeof offset);
    return (offset - 1) / sizeof(void*);
}

TEST(PlatformLayout, FileNotificationFieldsLieWhereTheEngineWritesThem) {
    const std::size_t info = offsetof(OBJNOTIFY, oidInfo);
    EXPECT_EQ(info, 216u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infFile) + offsetof(CEFILEINFO, dwAttributes), 220u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infFile) + offsetof(CEFILEINFO, oidParent), 224u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infFile) + offsetof(CEFILEINFO, szFileName), 228u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infFile) + offsetof(CEFILEINFO, ftLastChanged), 748u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infFile) + offsetof(CEFILEINFO, dwLength), 756u);
    EXPECT_EQ(info + offsetof(CEOIDINFO, infRecord), 220u);
}

TEST(PlatformLayout, SizesFollowThePointerWidth) {
    EXPECT_EQ(sizeof(OBJNOTIFY), sizeof(void*) == 4 ? 780u : 792u);
    EXPECT_EQ(sizeof(REPLSETUP), sizeof(void*) == 4 ? 236u : 248u);
    EXPECT_EQ(sizeof(FINDOBJINFO), sizeof(void*) == 4 ? 228u : 248u);
    EXPECT_EQ(sizeof(SDREQUEST), sizeof(void*) == 4 ? 216u : 224u);
    EXPECT_EQ(sizeof(CEPROPVAL), sizeof(void*) == 4 ? 16u : 24u);
    EXPECT_EQ(sizeof(CEOIDINFO), 544u);
    EXPECT_EQ(sizeof(OBJTYPEINFO), 384u);
}

TEST(PlatformLayout, FirstAndLastMethodOfEachInterfaceStandInTheirSlots) {
    EXPECT_EQ(Slot(&IUnknown::Release), 2u);
    EXPECT_EQ(Slot(&IDispatch::Invoke), 6u);
    EXPECT_EQ(Slot(&IReplObjHandler::Setup), 3u);
    EXPECT_EQ(Slot(&IReplObjHandler::Reset), 4u);
    EXPECT_EQ(Slot(&IReplObjHandler::DeleteObj), 7u);
    EXPECT_EQ(Slot(&IPOutlookApp::Logon), 7u);
    EXPECT_EQ(Slot(&IPOutlookApp::SysFreeString), 24u);
    EXPECT_EQ(Slot(&IPOutlookApp::SystemTimeToVariantTime), 26u);
    EXPECT_EQ(Slot(&IPOutlookApp2::GetIDsFromNames), 27u);
    EXPECT_EQ(Slot(&IPOutlookApp2::GetItemFromOidEx), 28u);
    EXPECT_EQ(Slot(&IFolder::get_Items), 7u);
    EXPECT_EQ(Slot(&IFolder::ReceiveFromInfrared), 12u);
    EXPECT_EQ(Slot(&IPOutlookItemCollection::Item), 11u);
    EXPECT_EQ(Slot(&IPOutlookItemCollection::get_Application), 18u);
    EXPECT_EQ(Slot(&IPOlItems::SetColumns), 19u);
    EXPECT_EQ(Slot(static_cast<HRESULT (IPOlItems2::*)(INT, const CEPROPID*, ULONG, WORD, CEPROPVAL**, ULONG*, HANDLE)>(
                  &IPOlItems2::GetProps)),
              20u);
    EXPECT_EQ(Slot(&IPOlItems3::IncludeSimContacts), 21u);
    EXPECT_EQ(Slot(&IItem::GetProps), 3u);
    EXPECT_EQ(Slot(&IItem::OpenProperty), 11u);
    EXPECT_EQ(Slot(&IItem::RemoveCategory), 16u);
    EXPECT_EQ(Slot(&IContact::get_Birthday), 7u);
    EXPECT_EQ(Slot(&IContact::get_YomiLastName), 56u);
    EXPECT_EQ(Slot(&IContact::put_Birthday), 57u);
    EXPECT_EQ(Slot(&IContact::put_YomiLastName), 106u);
    EXPECT_EQ(Slot(&IContact::get_Application), 114u);
    EXPECT_EQ(Slot(&ITask::ClearRecurrencePattern), 7u);
    EXPECT_EQ(Slot(&ITask::Save), 37u);
    EXPECT_EQ(Slot(&ITask::get_Application), 45u);
    EXPECT_EQ(Slot(&IAppointment::get_Recipients), 20u);
    EXPECT_EQ(Slot(&IAppointment::Save), 40u);
    EXPECT_EQ(Slot(&IAppointment::get_Application), 49u);
    EXPECT_EQ(Slot(&IRecurrencePattern::get_NoEndDate), 12u);
    EXPECT_EQ(Slot(&IRecurrencePattern::GetOccurrence), 35u);
    EXPECT_EQ(Slot(&IExceptions::get_Application), 10u);
    EXPECT_EQ(Slot(&IException::get_Application), 10u);
    EXPECT_EQ(Slot(&IRecipients::get_Application), 12u);
    EXPECT_EQ(Slot(&IRecipient::get_Application), 10u);
    EXPECT_EQ(Slot(&IPOlRecipient::Resolve), 11u);
    EXPECT_EQ(Slot(&IRecipient2::get_Status), 15u);
    EXPECT_EQ(Slot(&ITimeZone::get_Application), 23u);
    EXPECT_EQ(Slot(&ICity::get_Application), 27u);
    EXPECT_EQ(Slot(&ISequentialStream::Read), 3u);
    EXPECT_EQ(Slot(&IStream::Clone), 13u);
}

TEST(PlatformLayout, IdentifiersAreThePublishedOnes) {
    EXPECT_EQ(IID_IItem.Data1, 0xFB8998D0u);
    EXPECT_EQ(IID_IPOutlookApp2.Data4[7], 0x9E);
    EXPECT_EQ(CLSID_Application.Data1, 0x05058F23u);
    EXPECT_EQ(PIMPR_PICTURE, 0x00FF0064u);
    EXPECT_EQ(E_EXCEPTIONSAMEDAY, static_cast<HRESULT>(0x8004006C));
}

}  // namespace
