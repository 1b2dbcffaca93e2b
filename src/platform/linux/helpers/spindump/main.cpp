#include "Spindump.h"

int main(int argumentCount, char **arguments) {
    return spindump::run({arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount}, {});
}
