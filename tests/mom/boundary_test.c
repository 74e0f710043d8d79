/* The client's header as C, and the layout that programs compiled elsewhere rely on. */
#include <ox_mom.h>

#include <stddef.h>

_Static_assert(offsetof(MomHashResult, record) == 0, "record stands first");
_Static_assert(offsetof(MomHashResult, field_ids) == sizeof(void *), "field_ids follows the record");
_Static_assert(offsetof(MomHashResult, n_field_ids) == 2 * sizeof(void *), "n_field_ids follows field_ids");
_Static_assert(offsetof(MomHashResult, error_code) == 2 * sizeof(void *) + 3 * sizeof(int32_t),
               "two words stand between n_field_ids and error_code");
_Static_assert(sizeof(MomHashResult) == 2 * sizeof(void *) + 4 * sizeof(int32_t), "error_code stands last");
_Static_assert(offsetof(MomMsg, result) == offsetof(MomMsg, cmd) + sizeof(int32_t), "cmd and result are neighbours");

int32_t boundary_test_cmd_of(const MomMsg *msg);

int32_t boundary_test_cmd_of(const MomMsg *msg) { return msg->cmd; }
