#include "rig/rig.h"

int main(int argc, char *argv[])
{
    rig::enter(rig::Tools::RIG_TOOLS);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
