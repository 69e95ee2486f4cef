// What the Outlook bridge costs on top of Pocket Outlook: reading a contact into properties, and writing properties
// into a contact and saving it, each beside the bare calls that do the same work, with and without a picture of 50 KB.
//
// The trace log is off, as it is on a device in use. Pairs run in one process, on one device folder.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "poom/catalogue.h"
#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "poom/property_writers.h"

namespace {

constexpr DWORD kContacts = 24;
constexpr DWORD kPictureBytes = 50 * 1024;

// A device in a temporary folder for the whole run.
class BenchDevice {
 public:
    BenchDevice() : m_folder(std::filesystem::temp_directory_path() / ("kezbench-" + std::to_string(getpid()))) {
        kez::control::CreateDevice(m_folder, "");
        kez::control::OpenDevice(m_folder);
    }
    ~BenchDevice() {
        kez::control::CloseDevice();
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

 private:
    std::filesystem::path m_folder;
};

// A contact with every text of the catalogue, both dates, and a picture where wanted.
struct Content {
    explicit Content(bool withPicture) : picture(withPicture ? kPictureBytes : 0) {
        for (std::size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<BYTE>(i * 31);
        texts.reserve(kContactCatalogue.size());
        for (const CatalogueRow& row : kContactCatalogue) {
            CEPROPVAL value = {};
            value.propid = row.poom;
            if (TypeFromPropID(row.poom) == CEVT_LPWSTR) {
                std::u16string text = u"text of ";
                for (const char* letter = row.name; *letter != 0; ++letter) text += static_cast<char16_t>(*letter);
                texts.push_back(text);
                value.val.lpwstr = texts.back().data();
            } else if (TypeFromPropID(row.poom) == CEVT_FILETIME) {
                value.val.filetime = DateToFileTime(29358.0);
            } else {
                if (picture.empty()) continue;
                value.val.blob = {static_cast<DWORD>(picture.size()), picture.data()};
            }
            values.push_back(value);
        }
    }
    // The text that the nth write sets, so that each save has something to save.
    void Change(unsigned n) { texts[0].back() = static_cast<char16_t>(u'a' + n % 26); }

    std::vector<BYTE> picture;
    std::vector<std::u16string> texts;
    std::vector<CEPROPVAL> values;  // under Pocket Outlook's identifiers
};

void Stop(const char* what) {
    std::fprintf(stderr, "outlook_bridge_bench: %s failed\n", what);
    std::exit(1);
}

// Sets the values through IItem in one call, the picture through its stream.
void SetBare(IItem* item, Content& content) {
    std::vector<CEPROPVAL> values;
    for (const CEPROPVAL& value : content.values) {
        if (value.propid != PIMPR_PICTURE) values.push_back(value);
    }
    if (FAILED(item->SetProps(0, static_cast<WORD>(values.size()), values.data()))) Stop("setting values");
    if (content.picture.empty()) return;
    Reference<IStream> stream;
    ULONG written = 0;
    if (FAILED(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, stream.Out()))) Stop("opening the picture");
    if (FAILED(stream->Write(content.picture.data(), kPictureBytes, &written)) || written != kPictureBytes) {
        Stop("writing the picture");
    }
    if (FAILED(stream->Commit(STGC_DEFAULT))) Stop("writing the picture");
}

CEOID MakeContact(CCEPoom& session, Content& content) {
    CEOID oid = 0;
    if (!session.InitializeItem(0, kContacts, 0)) Stop("making a contact");
    {
        Reference<IItem> item;
        QueryItem(session.m_pContact, item.Out());
        SetBare(item.Get(), content);
    }
    if (session.Save(&oid) != S_OK) Stop("saving a contact");
    return oid;
}

void BM_ReadContactByBridge(benchmark::State& state) {
    CCEPoom session;
    session.Logon();
    Content content(state.range(0) != 0);
    const CEOID oid = MakeContact(session, content);
    for (auto _ : state) {
        if (!session.InitializeItem(oid, kContacts, static_cast<LONG>(oid))) Stop("loading");
        CEPROPVAL* list = nullptr;
        WORD count = 0;
        if (!session.GetProps(oid, kContacts, &list, &count, 1)) Stop("reading");
        CEPROPVAL& picture = list[count - 1];
        if (picture.wFlags == 0) LocalFree(picture.val.blob.lpb);
        HeapFree(GetProcessHeap(), 0, list);
        session.ReleaseItems();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadContactByBridge)->ArgName("picture")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_ReadContactBare(benchmark::State& state) {
    CCEPoom session;
    session.Logon();
    Content content(state.range(0) != 0);
    const CEOID oid = MakeContact(session, content);
    CEPROPID wanted[kContactCatalogue.size()];
    WORD count = 0;
    for (const CatalogueRow& row : kContactCatalogue) wanted[count++] = row.poom;
    std::vector<BYTE> bytes(kPictureBytes);
    for (auto _ : state) {
        Reference<IDispatch> loaded;
        if (FAILED(CCEPoom::m_polApp->GetItemFromOid(static_cast<LONG>(oid), loaded.Out()))) Stop("loading");
        Reference<IItem> item;
        QueryItem(loaded.Get(), item.Out());
        CEPROPVAL* list = nullptr;
        ULONG size = 0;
        if (FAILED(item->GetProps(wanted, CEDB_ALLOWREALLOC, count, &list, &size, GetProcessHeap()))) Stop("reading");
        Reference<IStream> stream;
        if (SUCCEEDED(item->OpenProperty(PIMPR_PICTURE, GENERIC_READ, stream.Out()))) {
            ULONG read = 0;
            stream->Read(bytes.data(), kPictureBytes, &read);
            benchmark::DoNotOptimize(bytes.data());
        }
        HeapFree(GetProcessHeap(), 0, list);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadContactBare)->ArgName("picture")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_WriteContactByBridge(benchmark::State& state) {
    CCEPoom session;
    session.Logon();
    Content content(state.range(0) != 0);
    const CEOID oid = MakeContact(session, content);
    std::vector<CEPROPVAL> properties = content.values;
    for (CEPROPVAL& property : properties) property.propid = ConvertPropID(property.propid, kContacts);
    unsigned n = 0;
    for (auto _ : state) {
        content.Change(++n);
        if (!session.InitializeItem(oid, kContacts, static_cast<LONG>(oid))) Stop("loading");
        for (const CEPROPVAL& property : properties) ContactPropToPoom(&property, &session);
        CEOID saved = 0;
        if (session.Save(&saved) != S_OK) Stop("saving");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_WriteContactByBridge)->ArgName("picture")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_WriteContactBare(benchmark::State& state) {
    CCEPoom session;
    session.Logon();
    Content content(state.range(0) != 0);
    const CEOID oid = MakeContact(session, content);
    unsigned n = 0;
    for (auto _ : state) {
        content.Change(++n);
        Reference<IDispatch> loaded;
        if (FAILED(CCEPoom::m_polApp->GetItemFromOid(static_cast<LONG>(oid), loaded.Out()))) Stop("loading");
        Reference<IItem> item;
        QueryItem(loaded.Get(), item.Out());
        SetBare(item.Get(), content);
        if (item->Save() != S_OK) Stop("saving");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_WriteContactBare)->ArgName("picture")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    const BenchDevice device;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
