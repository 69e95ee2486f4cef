// The level of every trace of the store, the folders and the object handler, in good and in failed calls.
#include "tests/provider/provider_fixture.h"
#include "tests/support/levels_of_lines.h"

namespace kez::tests {
namespace {

class ProviderLevels : public ProviderTest {
 protected:
    template <class Scenario>
    std::string Difference(const char* file, Scenario scenario) {
        const std::vector<std::string> others = {"CKezAspDB", "CKezCEPacket", "CKeeCEPacket", "KEZCEPacket", "ListAdd"};
        return DifferenceFrom(std::string(KEZ_TEST_DATA) + "/provider/" + file,
                              LevelsOfLines(device, others, scenario));
    }
    static LPWSTR Name(const char16_t* text) { return const_cast<LPWSTR>(text); }
};

TEST_F(ProviderLevels, OfTheStoreAndItsFolders) {
    MutexesStayOpen();
    EXPECT_EQ(Difference("levels_of_store.txt",
                         [&] {
                             CKEZASPContactStore store;
                             IReplObjHandler* handler = nullptr;
                             store.InitObjType(Name(u"KEZTask"), &handler, 1);
                             handler->Release();
                             FailNothrowNew(1);
                             store.InitObjType(Name(u"KEZContact"), &handler, 1);
                             FailNothrowNew(2);
                             store.InitObjType(Name(u"KEZAppointment"), &handler, 1);
                             FailNothrowNew(0);
                             store.InitObjType(Name(u"KEZTask"), nullptr, 1);
                             store.InitObjType(nullptr, nullptr, 1);
                             store.ObjectNotify(nullptr);
                             store.FindObjects(nullptr);
                             OBJNOTIFY notify = {};
                             store.ObjectNotify(&notify);
                             wcscpy(notify.szObjType, u"KEZTask");
                             store.ObjectNotify(&notify);
                             FINDOBJINFO find = {};
                             store.FindObjects(&find);
                             for (UINT code = 1; code <= 18; ++code) {
                                 if (code != RSC_END_SYNC) store.ReportStatus(nullptr, code, 0);
                             }
                             SDREQUEST request = {};
                             for (UINT code : {1u, 2u, 8u}) {
                                 request.uCode = code;
                                 store.SyncData(&request);
                             }
                             store.CheckSetMutex();
                         }),
              "");
}

TEST_F(ProviderLevels, OfTheObjectHandler) {
    EXPECT_EQ(Difference("levels_of_handler.txt",
                         [&] {
                             DatabaseDouble database;
                             CEPROPVAL text = {};
                             text.propid = 0x3A06001F;
                             text.val.lpwstr = Name(u"Ann");
                             database.properties = {text};
                             auto* handler = new CKEZASPContactObjHandler(nullptr, &database);
                             void* self = nullptr;
                             handler->QueryInterface(IID_IUnknown, &self);
                             handler->Release();

                             REPLSETUP setup = {};
                             setup.fRead = TRUE;
                             setup.oid = 11;
                             handler->Setup(&setup);
                             LPBYTE packet = nullptr;
                             DWORD size = 0;
                             handler->GetPacket(&packet, &size, 100);
                             handler->GetPacket(&packet, &size, 100);
                             database.fillResult = 0;
                             handler->GetPacket(&packet, &size, 100);
                             handler->Reset(&setup);

                             CKezCEPacket sent;
                             sent.PropStart(0);
                             sent.PropAdd(&text, 1);
                             sent.PropFini();
                             BYTE* const bytes = sent.GetPacketBuffer();
                             const auto length = static_cast<DWORD>(sent.GetPacketBytes());
                             setup.fRead = FALSE;
                             database.whileWriting = [&] {
                                 handler->SetPacket(bytes, length);
                                 handler->DeleteObj(&setup);
                             };
                             database.whileDeleting = [&] { handler->DeleteObj(&setup); };
                             database.deleteResult = E_FAIL;
                             handler->Setup(&setup);
                             handler->SetPacket(bytes, 20);
                             handler->SetPacket(bytes + 20, length - 20);
                             handler->Reset(&setup);
                             database.whileWriting = nullptr;
                             handler->Setup(&setup);
                             database.writeResult = 0;
                             handler->SetPacket(bytes, length);
                             handler->Reset(&setup);
                             handler->Setup(&setup);
                             handler->SetPacket(bytes, 2);
                             handler->Reset(&setup);
                             database.whileDeleting = [&] { handler->SetPacket(bytes, length); };
                             handler->DeleteObj(&setup);
                             handler->Release();
                         }),
              "");
}

}  // namespace
}  // namespace kez::tests
