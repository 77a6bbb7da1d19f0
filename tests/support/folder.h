// Tests that stand in an empty folder, and the files there.
#pragma once

#include <cstdlib>
#include <iterator>

namespace velt::test
{

class InFolder : public testing::Test
{
protected:
    InFolder() : before_(std::filesystem::current_path())
    {
        std::string name = std::filesystem::temp_directory_path() / "velt-test-XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        std::filesystem::current_path(folder);
    }
    ~InFolder() override
    {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(folder);
    }

    std::filesystem::path folder;

private:
    std::filesystem::path before_;
};

inline void write(const std::filesystem::path &path, const std::string &content)
{
    if (path.has_parent_path())
        std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read(const std::filesystem::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace velt::test
