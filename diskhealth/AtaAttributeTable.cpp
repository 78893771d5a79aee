#include "diskhealth/AtaAttributeTable.h"

#include <algorithm>
#include <array>

namespace velmox {

namespace {

struct Entry {
    int id;
    const char* name;
    const char* description;
};

// Sorted by number.
constexpr std::array kAttributes{
    Entry{1, "Read error rate",
          "How often reading from the surface needed a retry. Its raw value is vendor-coded; the "
          "normalised value against the threshold is what counts."},
    Entry{2, "Throughput performance",
          "The drive's overall throughput as measured by itself. A falling value can point to a "
          "mechanical problem."},
    Entry{3, "Spin-up time", "How long the platters take to reach full speed after power-on."},
    Entry{4, "Start/stop count", "How many times the spindle has started and stopped."},
    Entry{5, "Reallocated sectors",
          "Sectors the drive found bad and replaced with spare ones. Any growth is an early "
          "warning of a failing drive."},
    Entry{6, "Read channel margin", "The margin of the read channel. Rarely reported."},
    Entry{7, "Seek error rate",
          "How often the heads missed their track. Raw values are vendor-coded and often huge "
          "even on healthy drives."},
    Entry{8, "Seek time performance", "The average speed of seeks, as measured by the drive."},
    Entry{9, "Power-on hours", "How long the drive has been powered on in its life."},
    Entry{10, "Spin retry count",
          "How often the spindle needed more than one attempt to spin up. Non-zero values point "
          "to a motor or power problem."},
    Entry{11, "Calibration retry count",
          "How often a head recalibration needed more than one attempt."},
    Entry{12, "Power cycle count", "How many times the drive has been switched on."},
    Entry{13, "Soft read error rate", "Read errors corrected without a retry of the media."},
    Entry{22, "Helium level", "The helium level of a sealed drive; it falls if the seal leaks."},
    Entry{170, "Available reserved space",
          "How much of the spare area for replacing worn blocks is still free."},
    Entry{171, "Program fail count", "Flash pages that could not be written."},
    Entry{172, "Erase fail count", "Flash blocks that could not be erased."},
    Entry{173, "Wear leveling count",
          "How evenly and how much the flash cells have been erased. A low value means worn "
          "flash."},
    Entry{174, "Unexpected power loss count",
          "How often power went away without an orderly shutdown."},
    Entry{175, "Program fail count (chip)", "Flash write failures counted per chip."},
    Entry{176, "Erase fail count (chip)", "Flash erase failures counted per chip."},
    Entry{177, "Wear leveling count",
          "The remaining life of the flash cells as a percentage. When it nears the threshold "
          "the drive is close to its rated endurance."},
    Entry{178, "Used reserved blocks (chip)", "Spare flash blocks used so far on the worst chip."},
    Entry{179, "Used reserved blocks (total)", "Spare flash blocks used so far on all chips."},
    Entry{180, "Unused reserved blocks", "Spare flash blocks still available."},
    Entry{181, "Program fail count (total)", "Flash write failures since the drive was made."},
    Entry{182, "Erase fail count (total)", "Flash erase failures since the drive was made."},
    Entry{183, "Runtime bad blocks",
          "Blocks that failed during use and were retired. Growth means the media is degrading."},
    Entry{184, "End-to-end errors",
          "Data that changed between the interface and the media inside the drive. Any count "
          "means the drive's own electronics corrupted data."},
    Entry{187, "Reported uncorrectable errors",
          "Reads that failed even after error correction. Data in those places may be lost."},
    Entry{188, "Command timeouts",
          "Commands that did not finish in time, often from a loose cable or unstable power."},
    Entry{189, "High fly writes", "Writes done while the head flew higher than it should."},
    Entry{190, "Airflow temperature",
          "The temperature of the air inside the drive. Its normalised value is often 100 minus "
          "degrees Celsius."},
    Entry{191, "G-sense error rate", "Errors caused by shocks or vibration."},
    Entry{192, "Power-off retract count",
          "How often the heads were parked by an emergency retract at power loss."},
    Entry{193, "Load/unload cycle count",
          "How often the heads were parked and unparked. Drives are rated for a fixed number of "
          "cycles."},
    Entry{194, "Temperature", "The drive's temperature in degrees Celsius."},
    Entry{195, "Hardware ECC recovered",
          "Errors the drive corrected on the fly. The raw value is vendor-coded."},
    Entry{196, "Reallocation events",
          "How many times the drive moved data away from a bad sector, successful or not."},
    Entry{197, "Current pending sectors",
          "Sectors that could not be read and wait to be replaced. They may hold data that is "
          "already lost; back up and watch this closely."},
    Entry{198, "Offline uncorrectable sectors",
          "Sectors the drive's own surface scan could not read. A sign of a failing surface."},
    Entry{199, "Interface CRC errors",
          "Transfers damaged on the cable between the drive and the computer. The count is "
          "historical: it never resets and does not mean media failure; if it keeps rising, "
          "replace the cable."},
    Entry{200, "Write error rate", "How often writes needed a retry."},
    Entry{201, "Soft read error rate", "Off-track read errors corrected by the drive."},
    Entry{202, "Percent lifetime remaining",
          "The flash endurance left, as a percentage of the rated life."},
    Entry{203, "Run-out cancel", "Errors in ECC correction at read time."},
    Entry{204, "Soft ECC correction", "Errors corrected by the drive's ECC software."},
    Entry{205, "Thermal asperity rate", "Errors caused by heat spikes on the platter surface."},
    Entry{206, "Flying height", "The height of the heads above the platters."},
    Entry{207, "Spin high current", "Current surges at spin-up."},
    Entry{208, "Spin buzz", "Spin-up attempts that failed to start the spindle motor."},
    Entry{209, "Offline seek performance", "Seek performance measured during offline tests."},
    Entry{220, "Disk shift", "How far the platters have shifted from the spindle centre."},
    Entry{221, "G-sense error rate", "Errors from outside shocks or vibration."},
    Entry{222, "Loaded hours", "Hours spent with the heads loaded over the platters."},
    Entry{223, "Load/unload retry count", "Head loads that needed a retry."},
    Entry{224, "Load friction", "Friction measured when loading the heads."},
    Entry{225, "Load/unload cycle count", "How often the heads were loaded."},
    Entry{226, "Load-in time", "Time spent loading the heads."},
    Entry{227, "Torque amplification count", "How often more torque was needed to spin up."},
    Entry{228, "Power-off retract cycle", "Emergency head retracts at power loss."},
    Entry{230, "GMR head amplitude", "The signal amplitude of the heads (on SSDs: drive life)."},
    Entry{231, "Life left",
          "The remaining life of the solid-state drive as a percentage. Low values mean it is "
          "near its rated endurance."},
    Entry{232, "Endurance remaining",
          "The spare flash or endurance still available, as a percentage."},
    Entry{233, "Media wearout indicator",
          "How worn the flash is: 100 when new, falling towards 1 as the cells wear out."},
    Entry{234, "Average erase count", "The average number of erases per flash block."},
    Entry{235, "Good block count", "Flash blocks still in good condition."},
    Entry{240, "Head flying hours", "Hours the heads spent positioned over the platters."},
    Entry{241, "Total data written",
          "How much the host has written to the drive, in units the vendor chooses (often "
          "512-byte sectors)."},
    Entry{242, "Total data read", "How much the host has read from the drive."},
    Entry{250, "Read error retry rate", "Errors while reading that needed a retry."},
    Entry{254, "Free fall protection", "How often the drive detected a fall and parked its heads."},
};

constexpr bool sorted() {
    for (std::size_t i = 1; i < kAttributes.size(); ++i)
        if (kAttributes[i - 1].id >= kAttributes[i].id)
            return false;
    return true;
}
static_assert(sorted(), "the attribute table must stay sorted by number");

const Entry* find(int id) {
    const auto it = std::lower_bound(kAttributes.begin(), kAttributes.end(), id,
                                     [](const Entry& e, int key) { return e.id < key; });
    return it != kAttributes.end() && it->id == id ? &*it : nullptr;
}

} // namespace

bool isKnownAtaAttribute(int id) {
    return find(id) != nullptr;
}

AtaAttributeInfo ataAttributeInfo(int id) {
    if (const Entry* entry = find(id))
        return {QString::fromUtf8(entry->name), QString::fromUtf8(entry->description)};
    return {QStringLiteral("Attribute %1").arg(id),
            QStringLiteral(
                "Vendor-specific attribute. Only its value against the threshold is meaningful.")};
}

} // namespace velmox
