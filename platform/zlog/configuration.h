// Which configuration zlog gets.
#pragma once

namespace zlog_layer {

// Initialises zlog. Not thread-safe; to be called until it succeeds. False: memory is exhausted.
bool configure();

}  // namespace zlog_layer
