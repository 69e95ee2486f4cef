// Writes one received property to the item that a session has loaded, for each item type. The database objects
// call these for what their base operation leaves to the type.
#pragma once

#include <windbase.h>

class CCEPoom;

// `prop` carries packet identifiers and stays the caller's. TRUE when the property was written or deliberately
// ignored; FALSE, with a trace, when the item refused it.
BOOL ContactPropToPoom(const CEPROPVAL* prop, CCEPoom* session);
BOOL TaskPropToPoom(const CEPROPVAL* prop, CCEPoom* session);
BOOL AppointmentPropToPoom(const CEPROPVAL* prop, CCEPoom* session);
