#include "pxtool/CommandLine.h"

int main(int argc, char** argv)
{
    return px::tool::Main(argc, argv);
}
