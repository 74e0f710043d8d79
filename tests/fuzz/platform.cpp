// A platform whose log and console are nobody's: a line is put together, so that its arguments are read, and forgotten.
#include <ox_zlog.h>
#include <quib.h>

#include <array>
#include <cstdarg>
#include <cstdio>

void *ox_zlog_init(const char * /*category*/) {
    static int any = 0;
    return &any;
}

void oxdf_zlog(void * /*category*/, const char * /*file*/, size_t /*filelen*/, const char * /*func*/,
               size_t /*funclen*/, long /*line*/, int /*level*/, const char *format, ...) {
    std::array<char, 4096> text{};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
}

int32_t quib_lib_init(MomClient * /*client*/, const char * /*module*/) { return 0; }

int32_t quib_reg_mod_cmd(const char * /*module*/, const char * /*command*/, int32_t /*reserved*/,
                         const char * /*argument_format*/, QuibHandler /*handler*/) {
    return 0;
}
