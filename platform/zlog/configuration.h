// Which configuration zlog gets.
#ifndef OX_ZLOG_CONFIGURATION_H
#define OX_ZLOG_CONFIGURATION_H

namespace zlog_layer {

// Initialises zlog. Not thread-safe; to be called until it succeeds. False: memory is exhausted.
bool configure();

}  // namespace zlog_layer

#endif
