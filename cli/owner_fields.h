// How the fields of an item are read from and written to Pocket Outlook's item objects.
#pragma once

#include <pimstore.h>

#include <string>

#include "sync/item.h"

namespace kez::cli {

// All fields that `item` (the typed interface of `type`) has; `withPicture` also reads a contact's picture.
sync::Fields ReadFields(sync::ItemType type, IDispatch& item, bool withPicture);

// Sets fields, an empty value removes one; the item is not saved. Throws OwnerError naming the field.
void WriteFields(sync::ItemType type, IDispatch& item, const sync::Fields& fields);

// After the item was saved: makes the exceptions of a series.
void WriteExceptions(IDispatch& item, const sync::Fields& fields);

HRESULT SaveItem(sync::ItemType type, IDispatch& item);

std::string Utf8(LPCWSTR text);                      // "\r\n" becomes "\n"
std::u16string DeviceText(const std::string& text);  // and back

}  // namespace kez::cli
