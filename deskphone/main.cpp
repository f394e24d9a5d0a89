#include <exception>
#include <iostream>

#include "Loading.h"
#include "Options.h"

int main(int argc, char** argv)
{
    try {
        deskphone::Options options;
        int status = 0;
        if (!deskphone::readOptions(argc, argv, options, status)) {
            return status;
        }
        if (options.orders.which != deskphone::Orders::ANY) {
            deskphone::runOnChosenOrders(argv);
        }
        const deskphone::Loaded loaded = deskphone::load(options.plugin);
        return loaded.run(options, loaded.plugin);
    } catch (const std::exception& failure) {
        std::cerr << "deskphone: " << failure.what() << '\n';
        return 2;
    }
}
