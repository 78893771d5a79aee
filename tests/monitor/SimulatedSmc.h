#pragma once

#include "platform/SmcConnection.h"

#include <QString>
#include <map>
#include <memory>
#include <vector>

namespace velmox::test {

// An SMC that answers the driver's three commands from a recorded key table
// (tests/data/smc/*.smc) and counts every call, so tests can see what was asked.
class SimulatedSmc {
public:
    struct Key {
        std::uint32_t code = 0;
        std::uint32_t type = 0;
        std::uint32_t size = 0;
        QByteArray bytes;
        bool infoFails = false;
        bool readFails = false;
    };
    struct Calls {
        int keyInfo = 0;
        int read = 0;
        int keyAtIndex = 0;
        int opens = 0;
        std::map<QString, int> keyInfoByKey;
        std::map<QString, int> readByKey;
    };

    static SimulatedSmc fromTable(const QString& tableText);
    static SimulatedSmc fromFile(const QString& name); // a file under tests/data/smc

    // An opener for SMCHelper; every connection it opens shares this SMC's table and
    // call counts.
    SmcConnectionOpener opener();

    // While dead, every call fails at the driver level (the method returns an error).
    void setDead(bool dead) { state_->dead = dead; }
    void removeKey(const QString& key);
    void setBytes(const QString& key, const QByteArray& bytes);
    const std::vector<Key>& keys() const { return state_->keys; }
    const Calls& calls() const { return state_->calls; }

private:
    struct State {
        std::vector<Key> keys;
        Calls calls;
        bool dead = false;
    };
    class Connection;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace velmox::test
