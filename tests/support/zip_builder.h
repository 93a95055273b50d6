// Zip archives for tests, made in memory with minizip's writer.
#ifndef TAVOMEND_TESTS_SUPPORT_ZIP_BUILDER_H
#define TAVOMEND_TESTS_SUPPORT_ZIP_BUILDER_H

#include <string>
#include <utility>
#include <vector>

namespace ORVX::TavomendTest {
class ZipBuilder {
public:
    // level: deflate level, 0 stores the member.
    ZipBuilder& Add(const std::string& name, const std::string& content, int level = 6);
    // An entry whose data somebody else deflated.
    ZipBuilder& AddDeflated(const std::string& name, const std::string& content, const std::string& deflated);
    // The archive's bytes.
    [[nodiscard]] std::string Build() const;

private:
    struct Member {
        std::string name;
        std::string content;
        int level;
        std::string deflated; // empty: by us
    };
    std::vector<Member> members_;
};
} // namespace ORVX::TavomendTest

#endif
