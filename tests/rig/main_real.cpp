#include "rig/rig.h"

int main(int argc, char *argv[])
{
    rig::enter(rig::Tools::kReal);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
