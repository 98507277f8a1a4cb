// The part of a store that is being read, in memory.
//
// Whoever reads a store keeps those waiting who want to change it. To copy the pages of some tables takes a tenth of
// the time that it takes to read their rows.
#pragma once

#include "companion/database.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

class StoreImage {
public:
    // Empty; the store has to outlive it.
    explicit StoreImage(Database& copied);
    ~StoreImage();
    StoreImage(const StoreImage&) = delete;
    StoreImage& operator=(const StoreImage&) = delete;

    // Copies these tables as they are; a transaction of the store's is open and has begun to read. What was copied of
    // other tables before is not to be read any more. Throws `Failure` where the store cannot be read.
    void take(std::span<const char* const> tables);

    // A connection to what was taken, for reading. None before the first `take`.
    Database& database() { return *image_; }

private:
    class Pages;

    Database& store_;
    std::unique_ptr<Pages> pages_;
    std::unique_ptr<Database> image_; // goes before the pages that it reads
};
