#include "kelm/streams/ifstream.h"

const char* const FStreamDescrStr = "FStream";
