// Finds a type by either of its codes.
#include "poom/item_type.h"

const ItemType* ItemTypeOf(DWORD dwDBType) {
    static constexpr const ItemType* kTypes[] = {&kContactType, &kAppointmentType, &kTaskType};
    for (const ItemType* type : kTypes) {
        if (dwDBType == type->databaseType || dwDBType == type->letter) return type;
    }
    return nullptr;
}
