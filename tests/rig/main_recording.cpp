#include "rig/rig.h"

int main(int argc, char *argv[])
{
    rig::enter(rig::Tools::kRecording);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
