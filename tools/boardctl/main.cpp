#include "tools/boardctl/entry.h"

int main(int argc, char** argv) { return boardctl::runTool(argc, argv); }
