#include "invocation.h"

#include <ffi.h>

#include <utility>

#include "thread_state.h"

namespace quib {

namespace {

// What is told aside while it lives, in place of what is told to a handler further out: one may run the client, and so
// another.
class Listening {
public:
    explicit Listening(int32_t &told) : state_(ThreadState::get()), outer_(std::exchange(state_.told_aside, &told)) {}
    ~Listening() { state_.told_aside = outer_; }
    Listening(const Listening &) = delete;
    Listening &operator=(const Listening &) = delete;

private:
    ThreadState &state_;
    int32_t *outer_;
};

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
    const Listening listening(told);
    ffi_call(&call, handler, &status, arguments.data());
    return {.status = static_cast<int32_t>(status), .told_aside = told};
}

bool fail_running(int32_t status) {
    const ThreadState *state = ThreadState::find();
    if (state == nullptr || state->told_aside == nullptr) {
        return false;
    }
    *state->told_aside = status;
    return true;
}

}  // namespace quib
