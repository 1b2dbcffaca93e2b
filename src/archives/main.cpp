#include "archives/ArchivesCommand.h"

int main(int argumentCount, char **arguments) {
    return archives::runArchivesCommand(argumentCount, arguments);
}
