#include "apps/tvpk/command_line.h"

int main(int argc, char** argv)
{
    return ORVX::Tvpk::RunTvpk(argc, argv);
}
