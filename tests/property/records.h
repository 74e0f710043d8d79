// Reports as the records that carry them.
#pragma once

#include "history.h"
#include "record.h"

namespace property {

// Of the type that the processor follows; without what the report's flaw takes away.
test_support::Record record_of(Processor processor, const Report &report);

}  // namespace property
