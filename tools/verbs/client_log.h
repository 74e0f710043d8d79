// What the store's client says through the logging layer.
#pragma once

namespace capctl {

// From now on it is silent of losses, of what keeps the store away and of its return: the verb tells them itself, in
// words that fit its output. Whatever else the client says goes where it went before.
void tell_losses_here();

}  // namespace capctl
