// A small host program the tests run as a separate process, for behaviour that lies between
// processes or shows only at process exit.
//   platform_probe load NAME      LoadLibrary(NAME); prints the module's file name and whether
//                                 it is registered, then exits normally
//   platform_probe instance       prints whether another instance runs, then waits until its
//                                 standard input is closed
//   platform_probe out NAME       whether LoadLibrary(NAME) gives the application object
#include <platform/platform.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    std::string const command = argc > 1 ? argv[1] : "";
    auto* app = static_cast<zulplatform::CApp*>(zulplatform::GetAppInstance());
    zulplatform::IModule* module = argc == 3 ? zulwin::LoadLibrary(argv[2]) : nullptr;
    if (argc == 3 && command == "load" && module != nullptr)
        std::printf("file=%s\nregistered=%d\n", module->GetModuleFileName(),
                    app->IsValidSharedObject(dynamic_cast<zulplatform::ISharedObject*>(module)));
    else if (argc == 3 && (command == "load" || command == "out"))
        std::printf("%s\n", module == nullptr ? "null" : module == app ? "app" : "other");
    else if (argc == 2 && command == "instance") {
        dprintf(1, "running=%d\n", zulplatform::IsAppInstanceRunning() ? 1 : 0); // unbuffered
        while (std::getchar() != EOF)
            continue;
    } else {
        return 2; // see above for the usage
    }
    return 0;
}
