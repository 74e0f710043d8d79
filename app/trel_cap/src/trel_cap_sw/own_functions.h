// This library's own functions, under second names. A program may define an exported function itself and is called
// instead, so a call by the exported name may lead anywhere. Where that makes no difference to anybody, the library
// takes a shorter way than the call; it finds out by comparing the exported name with the second one, which nobody can
// replace. Each second name is an alias, made where its function is defined.
#pragma once

#include "trel_cap/node_list.h"

extern "C" {
#pragma GCC visibility push(hidden)

void trel_cap_own_dump_node(CapNodeRecord record);
void trel_cap_own_node_walk_cur(CapNodeVisitor visitor, void *argument);
int32_t trel_cap_own_judge_node_ready(CapNode *pos, void *param);
int32_t trel_cap_own_judge_node_real_time(CapNode *pos, void *param);

#pragma GCC visibility pop
}
