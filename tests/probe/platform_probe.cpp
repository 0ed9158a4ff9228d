// A small host program the tests run as a separate process, for behaviour that lies between
// processes or shows only at process exit.
//   platform_probe load NAME      LoadLibrary(NAME); prints the module's file name and whether
//                                 it is registered, then exits normally
//   platform_probe instance       prints whether another instance runs, then waits until its
//                                 standard input is closed
//   platform_probe out NAME       whether LoadLibrary(NAME) gives the application object
#include <platform/platform.h>

#include <cstdio>
#include <cstring>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "load") == 0) {
        zulplatform::IModule* module = zulwin::LoadLibrary(argv[2]);
        if (module == nullptr) {
            std::printf("null\n");
            return 0;
        }
        auto* app = static_cast<zulplatform::CApp*>(zulplatform::GetAppInstance());
        std::printf("file=%s\nregistered=%d\n", module->GetModuleFileName(),
                    app->IsValidSharedObject(dynamic_cast<zulplatform::ISharedObject*>(module)));
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "instance") == 0) {
        std::printf("running=%d\n", zulplatform::IsAppInstanceRunning() ? 1 : 0);
        std::fflush(stdout);
        char c;
        while (read(0, &c, 1) > 0) {
        }
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "out") == 0) {
        zulplatform::IModule* module = zulwin::LoadLibrary(argv[2]);
        std::printf("%s\n", module == nullptr                         ? "null"
                            : module == zulplatform::GetAppInstance() ? "app"
                                                                      : "other");
        return 0;
    }
    std::fprintf(stderr, "usage: platform_probe load NAME | instance | out NAME\n");
    return 2;
}
