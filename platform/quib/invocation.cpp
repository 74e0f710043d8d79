#include "invocation.h"

#include <ffi.h>
#include <new>
#include <pthread.h>

namespace quib {

namespace {

// Where the innermost handler that runs on the thread tells aside. No thread_local, for the reason that
// thread_state.cpp has.
struct Key {
    Key() : failed(pthread_key_create(&value, nullptr) != 0) {}

    pthread_key_t value{};
    bool failed;
};

const Key &key() {
    static const Key only;
    return only;
}

int32_t *innermost() { return key().failed ? nullptr : static_cast<int32_t *>(pthread_getspecific(key().value)); }

// Takes what is told aside while it lives, in place of what is told to a handler further out: one may run the client,
// and so another.
class Listening {
public:
    explicit Listening(int32_t &told) : outer_(innermost()) {
        if (key().failed || pthread_setspecific(key().value, &told) != 0) {
            throw std::bad_alloc();
        }
    }
    ~Listening() { pthread_setspecific(key().value, outer_); }
    Listening(const Listening &) = delete;
    Listening &operator=(const Listening &) = delete;

private:
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
    int32_t *told = innermost();
    if (told != nullptr) {
        *told = status;
    }
    return told != nullptr;
}

}  // namespace quib
