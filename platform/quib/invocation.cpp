#include "invocation.h"

#include <ffi.h>

#include <utility>

namespace quib {

namespace {

// Of the innermost handler: one may run the client, and so another.
thread_local int32_t *told_aside = nullptr;

}  // namespace

Outcome invoke(QuibHandler handler, std::vector<Value> &values) {
    std::vector<ffi_type *> types;
    std::vector<const char *> texts(values.size());
    std::vector<void *> arguments;
    for (size_t i = 0; i < values.size(); ++i) {
        const bool number = values[i].kind == Argument::Kind::kNumber;
        texts[i] = values[i].text.c_str();
        types.push_back(number ? &ffi_type_sint32 : &ffi_type_pointer);
        arguments.push_back(number ? static_cast<void *>(&values[i].number) : static_cast<void *>(&texts[i]));
    }
    // It fails for types that do not exist only.
    ffi_cif call;
    ffi_prep_cif(&call, FFI_DEFAULT_ABI, static_cast<unsigned>(types.size()), &ffi_type_sint32, types.data());
    ffi_arg status = 0;  // libffi returns no less than a word
    int32_t told = 0;
    int32_t *const outer = std::exchange(told_aside, &told);
    ffi_call(&call, handler, &status, arguments.data());
    told_aside = outer;
    return {.status = static_cast<int32_t>(status), .told_aside = told};
}

bool fail_running(int32_t status) {
    if (told_aside) {
        *told_aside = status;
    }
    return told_aside != nullptr;
}

}  // namespace quib
