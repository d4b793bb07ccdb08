// What is known of one port.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/cvhost/ports/PortSurvey.h"

namespace cvhost::ports {
namespace {

TEST(PortSurvey, Link_IsOfTheDeviceThatItLeadsTo) {
    std::string folder = (std::filesystem::temp_directory_path() / "port_survey_XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string link = folder + "/link";
    std::filesystem::create_symlink("/dev/null", link);
    EXPECT_EQ(surveyPort(link).machine.node, "/dev/null");
    std::filesystem::remove_all(folder);
    EXPECT_EQ(surveyPort(link).machine.node, link) << "it leads nowhere";
}

}  // namespace
}  // namespace cvhost::ports
