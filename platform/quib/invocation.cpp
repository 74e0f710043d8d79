#include "invocation.h"

#include <ffi.h>

namespace quib {

int32_t invoke(QuibHandler handler, std::vector<Value> &values) {
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
    ffi_call(&call, handler, &status, arguments.data());
    return static_cast<int32_t>(status);
}

}  // namespace quib
