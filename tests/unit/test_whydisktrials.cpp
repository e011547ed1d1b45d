// Trouble with disks and filesystems 50 times each.
#include "tests/unit/whytrial.h"

#include <cstdint>

#include <gtest/gtest.h>

TEST(WhyTrials, WriterToADisk) {
    for (const bool groups : {false, true})
        for (const bool files : {false, true})
            trials("writer", [&](uint64_t seed) {
                Trial trial(seed);
                auto& machine = trial.machine;
                const uint64_t speed = trial.between(20, 500) * MiB;
                machine.pressure("io", static_cast<double>(trial.between(20, 100)), 15);
                machine.disk("sdb", "8:16", static_cast<double>(speed) / MiB,
                             static_cast<double>(trial.between(25, 900)), static_cast<double>(trial.between(2, 100)));
                machine.disk("sdc", "8:32", static_cast<double>(speed) / MiB * 2, 2, 0.5);
                trial.crowd();
                trial.decoy("cached", "/cache").read_chars = trial.between(1, 40) * GiB;
                auto& other = trial.decoy("elsewhere", "/other");
                other.write_bytes = other.written_recently = speed * 3;
                auto& holder = trial.decoy("holder", "/other");
                holder.cpu_us = 5;
                auto& database = trial.decoy("database", "/db");
                database.write_bytes = speed / 12, database.written_recently = speed;
                auto& writer = trial.process("writer", "/w");
                writer.write_bytes = speed * trial.between(10, 40) / 10,
                writer.written_recently = *writer.write_bytes * 17;
                trial.culprit = writer.pid;
                trial.crowd();
                // Without files nothing tells that the other process writes to another disk, but the groups.
                if (files || !groups) machine.file(other, "/other/file", "sdc", *other.write_bytes);
                if (files) {
                    machine.file(writer, "/srv/file", "sdb", *writer.write_bytes);
                    machine.file(database, "/srv/db", "sdb", 0).evidence = "written";
                }
                if (groups) {
                    machine.groupIo("/w", "8:16", speed * 2 * 9 / 10);
                    machine.groupIo("/db", "8:16", speed * 2 / 12);
                    machine.groupIo("/other", "8:32", *other.write_bytes);
                }
                return trial.judge("DISK", groups ? files ? "groups and files" : "groups" : "files", seed);
            });
}

TEST(WhyTrials, ReaderOfADisk) {
    trials("reader", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        machine.pressure("io", 60, 20);
        auto& disk = machine.disk("sda", "8:0", 1, 1, static_cast<double>(trial.between(2, 60)));
        const uint64_t bytes = trial.between(10, 400) * MiB;
        disk.reads = 500, disk.read_us = 500 * trial.between(25, 300) * 1000, disk.read_bytes = bytes;
        trial.crowd();
        trial.decoy("cached").read_chars = bytes * 50;
        auto& writer = trial.decoy("writer");
        writer.write_bytes = writer.written_recently = bytes * 20;
        auto& small = trial.decoy("small");
        small.read_bytes = bytes / 4, small.read_chars = bytes / 4;
        auto& reader = trial.process("reader");
        reader.read_bytes = bytes * 6 / 10;
        trial.culprit = reader.pid;
        trial.crowd();
        return trial.judge("DISK", "reader", seed);
    });
}

TEST(WhyTrials, GrowthOfAFilesystem) {
    trials("filesystem", [](uint64_t seed) {
        Trial trial(seed);
        auto& machine = trial.machine;
        FsRow fs;
        fs.point = "/srv", fs.device = "8:17", fs.used = 900 * GiB, fs.available = 100 * GiB;
        const uint64_t grown = trial.between(1, 800) * MiB;
        fs.growth = static_cast<int64_t>(grown), fs.full_in_s = 1000, fs.growth_rate = static_cast<double>(grown) / 2;
        WhyMachine::put(machine.interval.filesystems, fs);
        trial.crowd();
        auto& overwrites = trial.decoy("overwrites");
        overwrites.write_bytes = grown * 20;
        machine.file(overwrites, "/srv/table", "sdb", grown * 20).mount = "/srv";
        auto& elsewhere = trial.decoy("elsewhere");
        auto& file = machine.file(elsewhere, "/home/x", "sda", grown * 9);
        file.mount = "/home", file.growth = static_cast<int64_t>(grown * 9);
        auto& grows = trial.process("grows");
        auto& own = machine.file(grows, "/srv/log", "sdb", grown);
        own.mount = "/srv", own.growth = static_cast<int64_t>(grown * 9 / 10);
        trial.culprit = grows.pid;
        trial.crowd();
        return trial.judge("FS", "growth", seed);
    });
}

// Most of those that are blocked wait for the disk that the culprit writes to; it is below its limits.
TEST(WhyTrials, BlockedByAWriter) {
    for (const bool functions : {false, true})
        for (const bool files : {false, true})
            trials("blocked", [&](uint64_t seed) {
                Trial trial(seed);
                auto& machine = trial.machine;
                const uint64_t speed = trial.between(20, 500) * MiB;
                machine.pressure("io", static_cast<double>(trial.between(20, 90)), 15);
                machine.disk("sdb", "8:16", static_cast<double>(speed) / MiB, static_cast<double>(trial.between(2, 18)),
                             static_cast<double>(trial.between(2, 10)));
                machine.disk("sdc", "8:32", static_cast<double>(speed) / MiB * 3, 2, 0.5);
                trial.crowd();
                trial.decoy("cached").read_chars = trial.between(1, 40) * GiB;
                auto& other = trial.decoy("elsewhere");
                other.write_bytes = speed * 6;
                machine.file(other, "/other/file", "sdc", *other.write_bytes);
                auto& writer = trial.process("writer");
                writer.write_bytes = speed * trial.between(16, 24) / 10;
                trial.culprit = writer.pid;
                if (files) machine.file(writer, "/srv/file", "sdb", *writer.write_bytes);
                const uint64_t waiting = trial.between(8, 40), others = trial.between(0, waiting / 3);
                for (uint64_t i = 0; i < waiting + others; i++) {
                    auto& process = trial.process(i < waiting ? "database" : "scanner");
                    process.state = 'D';
                    if (i >= waiting) process.wait_channel = "usb_sg_wait";
                    else if (functions) process.wait_channel = trial.between(0, 1) ? "io_schedule" : "folio_wait_bit";
                }
                machine.cpu().blocked = waiting + others + trial.between(0, 5);
                trial.crowd();
                return trial.judge("BLOCKED", functions ? "functions" : "no functions", seed);
            });
}
