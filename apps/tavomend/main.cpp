#include "apps/tavomend/command_line.h"

int main(int argc, char** argv)
{
    return ORVX::TavomendCli::RunTavomend(argc, argv);
}
