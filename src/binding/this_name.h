#ifndef VIREON_BINDING_THIS_NAME_H
#define VIREON_BINDING_THIS_NAME_H

#include "binding/interpreter/script_object.h"

namespace binding {

// The text "this", the attribute under which script instances keep their wrapped pointer; made once
// and kept. The reference is the caller's own, since a script that runs during a look-up can end
// what is kept here. Null with an exception set.
ScriptObject ThisName();
// Drops the kept text; the next use makes it anew.
void ForgetThisName();

}  // namespace binding

#endif
