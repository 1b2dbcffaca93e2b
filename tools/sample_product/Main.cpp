// Makes a sample product below the home folder that its argument names, and runs it until it ends.
#include "RunningProduct.h"
#include "SampleProduct.h"

#include <iostream>

int main(int count, char **arguments) {
    if (count != 2) {
        std::cerr << "Usage: sample_product HOME\n";
        return 2;
    }
    try {
        // The product's paths must be valid in every folder.
        const auto product = sample_product::makeSampleProduct(std::filesystem::absolute(arguments[1]));
        // The product ends with this process.
        sample_product::RunningProduct running(product.executable);
        std::cout << "process: " << running.processId() << std::endl;
        while (running.isRunning())
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::cerr << "sample_product: the product has ended\n";
    } catch (const std::exception &error) {
        std::cerr << "sample_product: " << error.what() << '\n';
    }
    return 1;
}
