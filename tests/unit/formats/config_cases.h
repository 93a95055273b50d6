// A good patch configuration and what becomes of it when one place of it changes. The engine's tool and the parser that
// hosts and the maker use run the same cases, so that both are seen to refuse for the same reason.
#ifndef TAVOMEND_TESTS_UNIT_FORMATS_CONFIG_CASES_H
#define TAVOMEND_TESTS_UNIT_FORMATS_CONFIG_CASES_H

#include <gtest/gtest.h>
#include <string>

namespace ORVX::TavomendTest {
// Two applications: com.a hot and ordinary with two files, com.b cold and a service framework with one.
inline const std::string GOOD_CONFIG = R"({
 "space": 1, "version": "patch07", "pre_version": "patch03",
 "product": {"model": ["m1", "m2"], "version": ["1.0.0", "1.0.1"]},
 "action": 0, "data_kept": false, "need_reboot": true,
 "apps": {"size": 2, "list": ["com.a", "com.b"],
  "com.a": {"version": 2, "pre_version": 1, "file_num": 2, "app_patch_type": "hot", "app_type": 0,
   "base_path": ["/system/app/A/A.vab", "/system/app/A/B.vab"],
   "diff_path": ["/com.a/A.vab.diff", "/com.a/B.vab.diff"],
   "apps_hash": ["aa", "bb"]},
  "com.b": {"version": 7, "pre_version": 5, "file_num": 1, "app_patch_type": "cold", "app_type": 2,
   "base_path": ["/system/app/appServiceFwk/F/F.vab"],
   "diff_path": ["/com.b/F.vab"],
   "apps_hash": ["cc"]}}})";

struct ConfigCase {
    const char* from; // its first place changes; it must be there
    const char* to;
    const char* problem; // for people; empty where the configuration is taken
    const char* refusal; // "STEP: message" of a reading that logs why it stopped, "silent" of one that does not
};

inline const ConfigCase CONFIG_CASES[] = {
    {R"("space": 1)", R"("space": 1)", "", ""},
    {R"("space": 1)", R"("space": 0)", "\"space\" is not above 0", ""},
    {R"("space": 1)", R"("space": "1")", "\"space\" is not above 0", ""},
    {R"("space": 1)", R"("space": 1, "space": 0)", "", ""}, // the first of two counts

    {R"("product")", R"("Product")", "\"product\" is not an object", "silent"},
    {R"("m1", "m2")", "", "product: \"model\" is empty", "silent"},
    {R"(["m1", "m2"])", R"("m1")", "product: \"model\" is not a list", "ParseProductModel: root is null"},
    {R"("m1", "m2")", R"("m1", 5)", "product: \"model\" holds something other than texts",
     "ParseProductModel: parse product model failed"},
    {R"("1.0.1")", "null", "product: \"version\" holds something other than texts",
     "ParseProductVersion: parse product version failed"},
    {R"(, "1.0.1")", "", "product: \"model\" and \"version\" differ in length", ""},

    {R"("action": 0)", R"("action": -1)", "\"action\" is neither 0, 1 nor 2", ""},
    {R"("action": 0)", R"("action": 3)", "\"action\" is neither 0, 1 nor 2", ""},
    {R"("action": 0)", R"("action": 1)", "", ""},
    {R"("action": 0)", R"("action": 2)", "a revoke package names applications", ""},
    {R"("size": 2, "list": ["com.a", "com.b"])", R"("size": 0, "list": [])", "an enabling package names no application",
     ""},

    {R"("apps":)", R"("Apps":)", "\"apps\" is not an object", "ParseApps: get apps object failed"},
    {R"("list":)", R"("List":)", "apps: \"list\" is not a list", "ParseApps: get app array failed"},
    {R"("size": 2)", R"("size": 3)", "apps: \"size\" is not the number of applications", ""},
    {R"(["com.a", "com.b"])", R"(["com.a", 5])", "apps: \"list\" holds something other than texts",
     "ParseApps: parse app failed"},
    {R"(["com.a", "com.b"])", R"(["com.a", ""])", "apps: \"list\" holds an empty name",
     "ParseAppInfo: ParseAppInfo failed"},
    {R"("com.b": {)", R"("": {}, "com.x": {)", "apps: \"com.b\" is not an object", "ParseAppInfo: ParseAppInfo failed"},

    {R"("version": 2)", R"("version": 1)", "com.a: its version is not above its pre-version", ""},
    {R"("version": 7)", R"("version": 6)", "", ""},
    {R"("version": 2, "pre_version": 1)", R"("version": 1)", "", ""}, // 0 when it is missing
    {R"("version": 2, )", "", "com.a: its version is not above its pre-version", ""},
    {R"("version": 2)", R"("version": -1)", "", ""}, // unsigned
    {R"("hot")", R"("Hot")", "com.a: \"app_patch_type\" is neither \"hot\" nor \"cold\"", ""},
    {R"("app_type": 0)", R"("app_type": 1)", "com.a: \"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)", ""},
    {R"("app_type": 2)", R"("app_type": 3)", "com.b: \"app_type\" is unknown", "GetAppType: app Type map find failed"},
    {R"("file_num": 1)", R"("file_num": 0)",
     "com.b: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number", ""},
    {R"("file_num": 2)", R"("file_num": 1)",
     "com.a: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number", ""},
    {R"(, "bb")", "", "com.a: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number", ""},
    {R"(, "/com.a/B.vab.diff")", "",
     "com.a: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number", ""},
    {R"("/system/app/appServiceFwk/F/F.vab")", R"("/f", "/g")",
     "com.b: \"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number", ""},
    {R"("/system/app/A/B.vab")", "5", "com.a: \"base_path\" holds something other than texts",
     "ParseAppBasePath: parse base path array failed"},
    {R"("/com.b/F.vab")", "5", "com.b: \"diff_path\" holds something other than texts",
     "ParseAppDiffPath: parse diff path array failed"},
    {R"("cc")", "5", "com.b: \"apps_hash\" holds something other than texts",
     "ParseAppFileHash: parse file hash array failed"},
    {R"(["cc"])", "[]", "com.b: \"apps_hash\" is empty", "silent"},
};

// Fails the test when the text does not have the place.
inline std::string Changed(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}
} // namespace ORVX::TavomendTest

#endif
