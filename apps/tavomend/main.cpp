#include "apps/tavomend/commands.h"

int main(int argc, char** argv)
{
    return ORVX::TavomendCli::RunTavomend(argc, argv);
}
