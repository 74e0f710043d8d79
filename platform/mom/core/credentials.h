// Who a client is to its server, where the store's name does not say.
#pragma once

#include "core/store_name.h"

namespace mom {

// Fills in user and password from $OX_MOM_USER, and $OX_MOM_PASSWORD or the first line of the file that
// $OX_MOM_PASSWORD_FILE names. False when these make no sense: last_error() then names the variable.
bool complete_credentials(StoreName &name);

}  // namespace mom
