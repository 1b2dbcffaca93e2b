// GNUstep's headers ask for this one, which the runtime here has under another name.
#include <Block.h>
