// Pocket Outlook beside bare SQLite with the same payload, in one run: contacts of eleven properties in filing order,
// against a table of eleven columns with an index on the filing text. At 1,000, 10,000 and 100,000 contacts; each row
// tells the time for one item, a walk's and a list's for all of them. Names pair up: "Outlook/Open/1000" and
// "Sqlite/Open/1000".
//
// Both sides have the same journal mode, durability and cache, their statements are prepared once, and each write is a
// transaction of its own. Change opens an item, sets a property and saves; bare SQLite reads the row and updates it.
// Save does so with an item that is open, beside the update alone. ListItems asks open items for their identifiers,
// beside the rows with all values, which an open item has; List asks the collection for them, beside the identifiers
// alone.
#include <benchmark/benchmark.h>
#include <pimstore.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "platform/pocketoutlook/com_object.h"

namespace {

namespace fs = std::filesystem;
using kez::pocketoutlook::Ref;

void Check(bool good) {
    if (!good) std::abort();
}

struct Field {
    CEPROPID id;
    HRESULT (IContact::*put)(BSTR);
    const char16_t* text;
};
constexpr Field kFields[] = {
    {PIMPR_FILEAS, &IContact::put_FileAs, u"Meyer, Ann "},
    {PIMPR_FIRST_NAME, &IContact::put_FirstName, u"Ann "},
    {PIMPR_LAST_NAME, &IContact::put_LastName, u"Meyer "},
    {PIMPR_COMPANY_NAME, &IContact::put_CompanyName, u"Acme Trading "},
    {PIMPR_MOBILE_TELEPHONE_NUMBER, &IContact::put_MobileTelephoneNumber, u"+49 170 555 01"},
    {PIMPR_EMAIL1_ADDRESS, &IContact::put_Email1Address, u"ann.meyer@example.org "},
    {PIMPR_HOME_ADDRESS_STREET, &IContact::put_HomeAddressStreet, u"Elm Street "},
    {PIMPR_HOME_ADDRESS_CITY, &IContact::put_HomeAddressCity, u"Springfield "},
    {PIMPR_HOME_ADDRESS_POSTAL_CODE, &IContact::put_HomeAddressPostalCode, u"97477 "},
    {PIMPR_JOB_TITLE, &IContact::put_JobTitle, u"Pilot "},
};
constexpr int kCount = static_cast<int>(std::size(kFields));
constexpr unsigned kOpen = 256;  // items that stay open, spread over all
constexpr DATE kBirthday = 29358.0;

// The text of a field of the nth contact: the filing order is not that of the numbers.
std::u16string TextFor(const Field& field, unsigned number) {
    std::u16string text = field.text;
    for (const char digit : std::to_string(number * 7919u % 100'003u)) text.push_back(static_cast<char16_t>(digit));
    return text;
}

class Folder {
 public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "kezbench-XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~Folder() { fs::remove_all(m_path); }
    const fs::path& Path() const { return m_path; }

 private:
    fs::path m_path;
};

// --- The object model -----------------------------------------------------------------------------------------

class Outlook {
 public:
    explicit Outlook(unsigned contacts) {
        kez::control::CreateDevice(m_folder.Path() / "device", "");
        kez::control::OpenDevice(m_folder.Path() / "device");
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2,
                         reinterpret_cast<void**>(m_app.Out()));
        Check(m_app->Logon(0) == S_OK);
        Ref<IFolder> folder;
        m_app->GetDefaultFolder(olFolderContacts, folder.Out());
        folder->get_Items(m_items.Out());
        Check(m_items->QueryInterface(IID_IPOlItems2, reinterpret_cast<void**>(m_list.Out())) == S_OK);
        for (const Field& field : kFields) m_ids.push_back(field.id);
        m_ids.push_back(PIMPR_BIRTHDAY);
        for (unsigned i = 0; i < contacts; i++) m_oids.push_back(Create(i));
    }
    ~Outlook() {
        for (auto& contact : m_open) contact = {};
        m_list = {};
        m_items = {};
        m_app = {};
        CoUninitialize();
        kez::control::CloseDevice();
    }

    CEOID Create(unsigned number) {
        IDispatch* item = nullptr;
        Check(m_app->CreateItem(olContactItem, &item) == S_OK);
        const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
        for (const Field& field : kFields) {
            const std::u16string text = TextFor(field, number);
            (contact.Get()->*field.put)(const_cast<BSTR>(text.c_str()));
        }
        contact->put_Birthday(kBirthday);
        Check(contact->Save() == S_OK);
        LONG oid = 0;
        contact->get_Oid(&oid);
        return static_cast<CEOID>(oid);
    }
    // Loads the item and reads all its properties.
    void Open(unsigned which) {
        IDispatch* item = nullptr;
        Check(m_app->GetItemFromOid(static_cast<LONG>(m_oids[which]), &item) == S_OK);
        ReadAll(Ref<IDispatch>::Attach(item), m_ids);
    }
    void Change(unsigned which, unsigned number) {
        IDispatch* item = nullptr;
        Check(m_app->GetItemFromOid(static_cast<LONG>(m_oids[which]), &item) == S_OK);
        const auto contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
        contact->put_JobTitle(const_cast<BSTR>(TextFor(kFields[kCount - 1], number).c_str()));
        Check(contact->Save() == S_OK);
    }
    // Every item in filing order, with all its properties.
    unsigned Walk() {
        unsigned count = 0;
        IDispatch* item = nullptr;
        for (INT i = 1; m_items->Item(i, &item) == S_OK; i++, count++) ReadAll(Ref<IDispatch>::Attach(item), m_ids);
        return count;
    }
    // Every oid in filing order, without the items.
    unsigned List() {
        unsigned count = 0;
        CEPROPVAL value = {};
        CEPROPVAL* place = &value;
        ULONG bytes = sizeof value;
        const CEPROPID oid = PIMPR_OID;
        for (INT i = 1; m_list->GetProps(i, &oid, 0, 1, &place, &bytes, nullptr) == S_OK; i++, count++) {
            benchmark::DoNotOptimize(value.val.ulVal);
        }
        return count;
    }
    // Every item in filing order, of which only the oid is asked.
    unsigned ListItems() {
        unsigned count = 0;
        IDispatch* item = nullptr;
        for (INT i = 1; m_items->Item(i, &item) == S_OK; i++, count++) {
            ReadAll(Ref<IDispatch>::Attach(item), {PIMPR_OID});
        }
        return count;
    }
    // Changes and saves one of the items that stay open.
    void Save(unsigned slot, unsigned distance, unsigned number) {
        auto& contact = m_open[slot];
        if (!contact) {
            IDispatch* item = nullptr;
            Check(m_app->GetItemFromOid(static_cast<LONG>(m_oids[slot * distance]), &item) == S_OK);
            contact = Ref<IContact>::Attach(static_cast<IContact*>(item));
        }
        contact->put_JobTitle(const_cast<BSTR>(TextFor(kFields[kCount - 1], number).c_str()));
        Check(contact->Save() == S_OK);
    }
    void ItemAt(unsigned which) {
        IDispatch* item = nullptr;
        Check(m_items->Item(static_cast<INT>(which + 1), &item) == S_OK);
        item->Release();
    }

 private:
    static void ReadAll(const Ref<IDispatch>& entry, const std::vector<CEPROPID>& ids) {
        Ref<IItem> item;
        entry->QueryInterface(IID_IItem, reinterpret_cast<void**>(item.Out()));
        CEPROPVAL* values = nullptr;
        ULONG bytes = 0;
        Check(item->GetProps(ids.data(), CEDB_ALLOWREALLOC, static_cast<WORD>(ids.size()), &values, &bytes,
                             GetProcessHeap()) == S_OK);
        benchmark::DoNotOptimize(values);
        HeapFree(GetProcessHeap(), 0, values);
    }

    Folder m_folder;
    Ref<IPOutlookApp2> m_app;
    Ref<IPOutlookItemCollection> m_items;
    Ref<IPOlItems2> m_list;
    Ref<IContact> m_open[kOpen];
    std::vector<CEPROPID> m_ids;
    std::vector<CEOID> m_oids;
};

// --- Bare SQLite ----------------------------------------------------------------------------------------------

class Sqlite {
 public:
    explicit Sqlite(unsigned contacts) {
        Check(sqlite3_open((m_folder.Path() / "bare.db").c_str(), &m_database) == SQLITE_OK);
        std::string columns, places;
        for (int i = 0; i < kCount; i++) {
            columns += ", c" + std::to_string(i) + " TEXT";
            places += ", ?";
        }
        Run("PRAGMA encoding = 'UTF-16le'; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
            "PRAGMA cache_size = -4000;"
            "CREATE TABLE contact (oid INTEGER PRIMARY KEY" +
            columns +
            ", birthday INTEGER);"
            "CREATE INDEX filing ON contact (c0, oid);");
        m_insert = Prepare("INSERT INTO contact VALUES (NULL" + places + ", ?)");
        m_open = Prepare("SELECT * FROM contact WHERE oid = ?");
        m_change = Prepare("UPDATE contact SET c9 = ? WHERE oid = ?");
        m_walk = Prepare("SELECT * FROM contact ORDER BY c0, oid");
        m_list = Prepare("SELECT oid FROM contact ORDER BY c0, oid");
        for (unsigned i = 0; i < contacts; i++) Create(i);
    }
    ~Sqlite() {
        for (auto* statement : {m_insert, m_open, m_change, m_walk, m_list}) sqlite3_finalize(statement);
        sqlite3_close(m_database);
    }

    void Create(unsigned number) {
        std::u16string texts[kCount];
        for (int i = 0; i < kCount; i++) {
            texts[i] = TextFor(kFields[i], number);
            Bind(m_insert, i + 1, texts[i]);
        }
        sqlite3_bind_int64(m_insert, kCount + 1, 119'600'000'000'000'000);
        Step(m_insert);
    }
    void Open(unsigned which) {
        sqlite3_bind_int64(m_open, 1, which + 1);
        Check(sqlite3_step(m_open) == SQLITE_ROW);
        Copy(m_open);
        sqlite3_reset(m_open);
    }
    // Reads the row, as every program does that shows it before it changes it, and writes one column.
    void Change(unsigned which, unsigned number) {
        Open(which);
        Save(which, 1, number);
    }
    void Save(unsigned slot, unsigned distance, unsigned number) {
        const std::u16string text = TextFor(kFields[kCount - 1], number);
        Bind(m_change, 1, text);
        sqlite3_bind_int64(m_change, 2, slot * distance + 1);
        Step(m_change);
    }
    unsigned Walk() {
        unsigned count = 0;
        for (; sqlite3_step(m_walk) == SQLITE_ROW; count++) Copy(m_walk);
        sqlite3_reset(m_walk);
        return count;
    }
    unsigned List() {
        unsigned count = 0;
        for (; sqlite3_step(m_list) == SQLITE_ROW; count++) benchmark::DoNotOptimize(sqlite3_column_int64(m_list, 0));
        sqlite3_reset(m_list);
        return count;
    }
    unsigned ListItems() { return Walk(); }

 private:
    void Run(const std::string& sql) { Check(sqlite3_exec(m_database, sql.c_str(), nullptr, nullptr, nullptr) == 0); }
    sqlite3_stmt* Prepare(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(m_database, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK);
        return statement;
    }
    static void Bind(sqlite3_stmt* statement, int place, const std::u16string& text) {
        sqlite3_bind_text16(statement, place, text.data(), static_cast<int>(text.size() * 2), SQLITE_STATIC);
    }
    static void Step(sqlite3_stmt* statement) {
        Check(sqlite3_step(statement) == SQLITE_DONE);
        sqlite3_reset(statement);
    }
    // Takes the row out of SQLite, as a caller does that keeps it.
    static void Copy(sqlite3_stmt* statement) {
        std::u16string texts[kCount];
        for (int i = 0; i < kCount; i++) {
            texts[i] = static_cast<const char16_t*>(sqlite3_column_text16(statement, i + 1));
        }
        benchmark::DoNotOptimize(texts);
        benchmark::DoNotOptimize(sqlite3_column_int64(statement, kCount + 1));
    }

    Folder m_folder;
    sqlite3* m_database = nullptr;
    sqlite3_stmt *m_insert, *m_open, *m_change, *m_walk, *m_list;
};

// --- Benchmarks -----------------------------------------------------------------------------------------------

// The world of the size at hand; one of a kind is open at a time.
template <class World>
World& Sized(unsigned contacts) {
    static std::unique_ptr<World> world;
    static unsigned size = 0;
    if (!world || size != contacts) {
        world.reset();
        world = std::make_unique<World>(contacts);
        size = contacts;
    }
    return *world;
}

template <class World>
void Register(const std::string& side, unsigned n) {
    const auto add = [&](const std::string& name, auto body) {
        benchmark::RegisterBenchmark((side + "/" + name + "/" + std::to_string(n)).c_str(),
                                     [n, body](benchmark::State& state) {
                                         World& world = Sized<World>(n);
                                         std::mt19937 random(7);
                                         for (auto _ : state) body(world, random, n, state);
                                     });
    };
    const auto each = [](benchmark::State& state, unsigned items) {
        state.SetItemsProcessed(state.items_processed() + items);
    };
    add("Open",
        [](World& world, std::mt19937& random, unsigned size, benchmark::State&) { world.Open(random() % size); });
    add("Walk", [each](World& world, std::mt19937&, unsigned, benchmark::State& state) { each(state, world.Walk()); });
    add("List", [each](World& world, std::mt19937&, unsigned, benchmark::State& state) { each(state, world.List()); });
    add("ListItems",
        [each](World& world, std::mt19937&, unsigned, benchmark::State& state) { each(state, world.ListItems()); });
    if constexpr (std::is_same_v<World, Outlook>) {
        add("ItemAt", [](World& world, std::mt19937& random, unsigned size, benchmark::State&) {
            world.ItemAt(random() % size);
        });
    }
    add("Change", [](World& world, std::mt19937& random, unsigned size, benchmark::State&) {
        world.Change(random() % size, random());
    });
    add("Save", [](World& world, std::mt19937& random, unsigned size, benchmark::State&) {
        world.Save(random() % kOpen, size / kOpen, random());
    });
    // Last: it makes the world larger.
    add("Create", [](World& world, std::mt19937& random, unsigned, benchmark::State&) { world.Create(random()); });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const unsigned n : {1'000u, 10'000u, 100'000u}) {
        Register<Sqlite>("Sqlite", n);
        Register<Outlook>("Outlook", n);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
