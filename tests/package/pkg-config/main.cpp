#include <vexel/vexel.h>

#include <cstdio>

int main()
{
    vexel::GDALStreamer set;
    const bool found = set.openRead("there is no such file.tif");
    std::printf("%s\n", vexel::version());
    return found ? 1 : 0;
}
