#ifndef VEXEL_TESTS_FAULT_CALLS_H
#define VEXEL_TESTS_FAULT_CALLS_H

#include <QString>

#include <cstdint>
#include <string>
#include <vector>

/// What this process asks of the system and of GDAL, noted on the way. Each note-taker lives alone.
namespace faults {

/// Notes which files of a folder are synced and renamed.
class FileCalls
{
public:
    struct Call
    {
        std::string text;         ///< "sync NAME" or "rename NAME to NAME", the folder itself being "."
        std::uintmax_t bytes = 0; ///< of a synced file by then
        bool isLocked = false;    ///< whether a file was synced under the GDAL lock; needs a `LockWatch`
    };

    explicit FileCalls(const QString& folder);
    ~FileCalls();
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;

    /// From now on syncing fails, as it does on a disk that breaks.
    void failSyncs();

    /// In their order.
    std::vector<Call> calls() const;
};

/// Notes the arguments that GDAL's utilities are called with.
class UtilityArguments
{
public:
    using Arguments = std::vector<std::string>;

    UtilityArguments();
    ~UtilityArguments();
    UtilityArguments(const UtilityArguments&) = delete;
    UtilityArguments& operator=(const UtilityArguments&) = delete;

    /// Of each call so far, in their order.
    std::vector<Arguments> ofTranslate() const;
    std::vector<Arguments> ofWarp() const;
};

/// Counts how often the thread that made it gives the GDAL lock up.
class LockWatch
{
public:
    LockWatch();
    ~LockWatch();
    LockWatch(const LockWatch&) = delete;
    LockWatch& operator=(const LockWatch&) = delete;

    /// Times that the lock became free for other threads.
    int releases() const;
};

} // namespace faults

#endif
