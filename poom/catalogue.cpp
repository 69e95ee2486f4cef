// Looks rows of the catalogue up. Reading asks for every element of every record, so the way from Pocket Outlook's
// identifier to the packet's goes through indexes that are sorted when the program is built.
#include "poom/catalogue.h"

#include <algorithm>

#include "poom/item_type.h"
#include "trace/trace_log.h"

namespace {

// The rows of a catalogue by Pocket Outlook's identifier.
template <std::size_t N>
constexpr std::array<CatalogueRow, N> SortedByItemID(std::array<CatalogueRow, N> rows) {
    for (std::size_t i = 1; i < N; ++i) {
        const CatalogueRow row = rows[i];
        std::size_t place = i;
        for (; place > 0 && row.poom < rows[place - 1].poom; --place) rows[place] = rows[place - 1];
        rows[place] = row;
    }
    return rows;
}

constexpr auto kContactsByItemID = SortedByItemID(kContactCatalogue);
constexpr auto kAppointmentsByItemID = SortedByItemID(kAppointmentCatalogue);
constexpr auto kTasksByItemID = SortedByItemID(kTaskCatalogue);

struct TypeCatalogue {
    const ItemType* type;
    Catalogue inOrder;
    Catalogue byItemID;
};

constexpr TypeCatalogue kCatalogues[] = {
    {&kContactType,
     {kContactCatalogue.data(), kContactCatalogue.size()},
     {kContactsByItemID.data(), kContactsByItemID.size()}},
    {&kAppointmentType,
     {kAppointmentCatalogue.data(), kAppointmentCatalogue.size()},
     {kAppointmentsByItemID.data(), kAppointmentsByItemID.size()}},
    {&kTaskType, {kTaskCatalogue.data(), kTaskCatalogue.size()}, {kTasksByItemID.data(), kTasksByItemID.size()}},
};

const TypeCatalogue* Find(DWORD dwDBType) {
    const ItemType* type = ItemTypeOf(dwDBType);
    for (const TypeCatalogue& catalogue : kCatalogues) {
        if (catalogue.type == type) return &catalogue;
    }
    return nullptr;
}

}  // namespace

Catalogue CatalogueOf(DWORD dwDBType) {
    const TypeCatalogue* catalogue = Find(dwDBType);
    return catalogue != nullptr ? catalogue->inOrder : Catalogue{nullptr, 0};
}

CEPROPID ConvertPropID(CEPROPID propid, DWORD dwDBType) {
    const TypeCatalogue* catalogue = Find(dwDBType);
    if (catalogue == nullptr) {
        dbglog(25, "WARNING!! Invalid dwType %i", dwDBType);
        return propid;
    }
    const CatalogueRow* end = catalogue->byItemID.end();
    const CatalogueRow* row = std::lower_bound(catalogue->byItemID.begin(), end, propid,
                                               [](const CatalogueRow& a, CEPROPID id) { return a.poom < id; });
    if (row != end && row->poom == propid) return row->packet;
    dbglog(25, "WARNING!! No conversion for type 0x%08x!", propid);
    return propid;
}

const CatalogueRow* FindByPacketID(Catalogue catalogue, CEPROPID propid) {
    for (const CatalogueRow& row : catalogue) {
        if (row.packet == propid) return &row;
    }
    return nullptr;
}
