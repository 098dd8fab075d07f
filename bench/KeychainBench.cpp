// SPDX-License-Identifier: MIT
// What modules of cards cost: the first opening of the keychain, and each listing.
#include "bench/Measure.h"
#include "bench/Table.h"
#include "platform/linux/security/NssSecurity.h"
#include "tests/linux-security/NssDirectory.h"
#include "tests/linux-security/SoftTokens.h"
#include "tests/support/ConfiguredModules.h"

#include <cstdio>

using namespace platform;

namespace {

constexpr int openings = 15;
constexpr int listings = 200;

struct Times {
    double opening = 0;
    double listing = 0;
};

Times measure(const KeychainSources& sources, std::size_t identities) {
    ScriptedUserInterface userInterface;
    std::vector<double> openingTimes;
    std::vector<double> listingTimes;
    for (int i = 0; i < openings; ++i) {
        NssSecurity security(userInterface, sources);
        auto began = Clock::now();
        if (security.SecKeychainCopyDefault() != errSecSuccess) {
            throw std::runtime_error("the keychain cannot be opened");
        }
        openingTimes.push_back(secondsSince(began));
        for (int k = 0; k < listings / openings; ++k) {
            began = Clock::now();
            const auto list = security.SecItemCopyMatching(allIdentities());
            listingTimes.push_back(secondsSince(began));
            if (list.value.value_or(PropertyArray()).size() != identities) {
                throw std::runtime_error("the listing is not what it should be");
            }
        }
    }
    return {median(openingTimes), median(listingTimes)};
}

void printRows(const std::string& with, const Times& times, const Times& without) {
    printRow("opening the keychain, " + with, times.opening, "the user's database alone",
        without.opening);
    printRow("listing 3 of the database, " + with, times.listing, "the user's database alone",
        without.listing);
}

} // namespace

int main() {
    ConfiguredModules configured;
    SoftTokens tokens;
    tokens.create("Card");
    tokens.add("Card", {});
    NssDirectory directory;
    directory.addManyIdentities(3);
    const TemporaryFolder folder;
    const KeychainSources alone{directory.path(), "", false};
    const KeychainSources all{directory.path(), folder.path(), true};

    const Times without = measure(alone, 3);
    printRows("no module", measure(all, 3), without);
    for (int count = 1; count <= 5; ++count) {
        const auto copy = folder / ("card-" + std::to_string(count) + ".so");
        std::filesystem::copy_file(SoftTokens::module(), copy);
        configured.add("card-" + std::to_string(count), copy.string());
        if (count == 1 || count == 5) {
            printRows(std::to_string(count) + (count == 1 ? " module" : " modules"),
                measure(all, 4), without);
        }
    }
    return 0;
}
