// fuzz_seeds FOLDER TRANSCRIPT...: writes the requests of transcripts to a folder, one a file, for fuzzing to start from.

#include "rig/request.h"

#include <filesystem>
#include <fstream>

int main(int argc, char *argv[])
{
    std::filesystem::create_directories(argv[1]);
    int count = 0;
    for (int i = 2; i < argc; i++) {
        std::ifstream transcript(argv[i]);
        for (std::string line; std::getline(transcript, line);) {
            if (line.starts_with('>')) {
                const RequestFrame frame = rig::request_of(line.substr(2, line.find(" = ") - 2));
                std::string bytes(reinterpret_cast<const char *>(&frame), sizeof frame);
                bytes.resize(std::max(bytes.find_last_not_of('\0') + 1, sizeof frame.header));
                std::ofstream(std::filesystem::path(argv[1]) / std::to_string(count++)) << bytes;
            }
        }
    }
}
