// A POCO application that does what the library's start-up does: reads its configuration and the
// environment and sets up logging to a file.
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <Poco/Util/Application.h>
#include <Poco/Util/PropertyFileConfiguration.h>
#include <Poco/Util/SystemConfiguration.h>

#include <cstdlib>
#include <string>

#include "bench/resident.h"

class Life : public Poco::Util::Application {
public:
    Life() { setUnixOptions(true); }

protected:
    void initialize(Application &self) override {
        std::string const home = std::getenv("KQEXEC_HOME");
        config().add(new Poco::Util::PropertyFileConfiguration(home + "/etc/app.cfg"));
        Application::initialize(self);
        Poco::AutoPtr<Poco::FileChannel> file(new Poco::FileChannel("/dev/null"));
        Poco::AutoPtr<Poco::PatternFormatter> pattern(
            new Poco::PatternFormatter("%Y-%m-%d %H:%M:%S %s %t"));
        logger().setChannel(new Poco::FormattingChannel(pattern, file));
        Poco::Util::AbstractConfiguration::Keys keys;
        config().keys(keys);
        for (auto const &key : keys) logger().information(key);
    }
    int main(std::vector<std::string> const &) override {
        tellResident();
        return EXIT_OK;
    }
};

POCO_APP_MAIN(Life)
