// Counts a run in a registry key of this program's own data directory and prints where that
// is, for the tests that copy this program into a fresh application directory.
//   registry_probe FILE KEYPATH
// Output, one line each: datadir=<the data directory>, runs=<the count after this run>.
#include <platform/locations.h>
#include <platform/registry.h>

#include <cstdio>

int main(int argc, char** argv) {
    zulwin::CRegKey key;
    if (argc != 3 || key.Create(argv[1], argv[2]) != 0)
        return 1;
    unsigned int runs = 0;
    key.QueryDWORDValue("Runs", runs);
    key.SetDWORDValue("Runs", runs + 1);
    key.Close();
    std::printf("datadir=%s\nruns=%u\n", zulplatform::GetDefaultAppDataDir().GetString(), runs + 1);
    return 0;
}
