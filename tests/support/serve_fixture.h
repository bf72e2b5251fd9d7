/* serve_fixture.h - a root with accounts and console files, and "tarn
 * serve" running on it: the set-up the service's tests share. */
#ifndef TARN_SERVE_FIXTURE_H
#define TARN_SERVE_FIXTURE_H

#include <string>
#include <vector>

#include "serve_client.h"
#include "tarn_test.h"

namespace tarntest {

/* A RemoteTest, for the commands that call simulated servers. Accounts of
 * the root: "admin" (uid 1001, in "administrators"), "alice"
 * (1002) and "bob" (1003), each with a password; console files in a data
 * folder of the root's own (www/ with index.html, app.js, sub/index.html). */
class ServeTest : public RemoteTest {
protected:
    static constexpr const char* kAdminPassword = "admin-pass-4711";
    static constexpr const char* kAlicePassword = "alice-pass-0815";
    static constexpr const char* kBobPassword = "bob-pass-123456";

    void SetUp() override;
    void TearDown() override;
    /* Starts server_ with the data folder and more options. */
    void serveStart(const std::vector<std::string>& options = {});
    /* The folder given as --data. */
    std::string dataDir() const { return root_ + "/console-data"; }
    /* The lines of the root's session store, parsed. */
    std::vector<Json::Value> storeLines();

    ServeProcess server_;
};

}  // namespace tarntest

#endif
