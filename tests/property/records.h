// Reports as the records that carry them.
#ifndef TREL_CAP_TESTS_PROPERTY_RECORDS_H
#define TREL_CAP_TESTS_PROPERTY_RECORDS_H

#include "history.h"
#include "record.h"

namespace property {

// Of the type that the processor follows; without what the report's flaw takes away.
test_support::Record record_of(Processor processor, const Report &report);

}  // namespace property

#endif
