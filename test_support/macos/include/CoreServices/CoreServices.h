// Stand-in for two names of Apple events, each four letters in one number. Written from the public
// documentation.
#pragma once

// https://developer.apple.com/documentation/coreservices/kcoreeventclass
enum { kCoreEventClass = 0x61657674 /* aevt */ };
// https://developer.apple.com/documentation/coreservices/kaereopenapplication
enum { kAEReopenApplication = 0x72617070 /* rapp */ };
