#include "host_options.h"

#include <cstdio>
#include <cstdlib>

namespace qv::host {

void PrintHelp() {
    std::printf(
        "Usage: quorvane-host [options] [-- classifier arguments]\n"
        "\n"
        "Listens on the host pipe, prints every classification the content classifier\n"
        "sends (time, output, word), and runs the classifier for one output until\n"
        "interrupted (Ctrl-C). It starts the classifier with an exit token (a named\n"
        "mutex that it holds) and stops it by releasing the token; if the host is\n"
        "killed, the classifier ends by itself.\n"
        "\n"
        "Options:\n"
        "  --pipe NAME         host pipe name (default %s)\n"
        "  --endpoint ID       endpoint id of the output to classify (default: the\n"
        "                      default output; on Linux a sink name or index works too)\n"
        "  --classifier PATH   the ContentClassifier program (default: found beside this\n"
        "                      tool, or in the build tree's src folder)\n"
        "  --listen-only       do not start the classifier; only print what arrives\n"
        "  --count N           stop after N messages\n"
        "  --for SECONDS       stop after this many seconds\n"
        "  --help              this text\n",
        kDefaultPipe);
}

bool ParseOptions(int argc, char** argv, Options& options, std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        // The option's value, or null with the error set.
        auto value = [&]() -> const char* {
            if (i + 1 < argc) return argv[++i];
            error = arg + " needs a value";
            return nullptr;
        };
        if (arg == "--help" || arg == "-h") {
            options.help = true;
        } else if (arg == "--pipe" || arg == "--endpoint" || arg == "--classifier") {
            const char* v = value();
            if (!v) return false;
            (arg == "--pipe" ? options.pipe : arg == "--endpoint" ? options.endpoint : options.classifier) = v;
        } else if (arg == "--listen-only") {
            options.startClassifier = false;
        } else if (arg == "--count") {
            const char* v = value();
            if (!v) return false;
            char* end = nullptr;
            options.count = std::strtol(v, &end, 10);
            if (!end || *end || options.count < 1) {
                error = "--count takes a whole number of at least 1";
                return false;
            }
        } else if (arg == "--for") {
            const char* v = value();
            if (!v) return false;
            char* end = nullptr;
            options.seconds = std::strtod(v, &end);
            if (!end || *end || !(options.seconds > 0)) {
                error = "--for takes a number of seconds above 0";
                return false;
            }
        } else if (arg == "--") {
            for (++i; i < argc; ++i) options.extra.push_back(argv[i]);
        } else {
            error = "unknown option " + arg + " (see --help)";
            return false;
        }
    }
    return true;
}

}  // namespace qv::host
