// The verbs, by family.
#ifndef TREL_CAPCTL_VERBS_H
#define TREL_CAPCTL_VERBS_H

#include "command_line.h"

namespace capctl {

void add_capability_verbs(CommandLine &command_line);  // get, set
void add_readiness_verbs(CommandLine &command_line);   // ready

}  // namespace capctl

#endif
