#include "apps/tvpk/commands.h"

int main(int argc, char** argv)
{
    return ORVX::Tvpk::RunTvpk(argc, argv);
}
