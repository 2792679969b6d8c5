#pragma once

#include "synthetic/room.h"

#include <string>
#include <vector>

/// What the program can be asked for; main.cpp names the modes.
namespace brisko::limits {

void generate();         // the scans
void generateStation();  // a scan with photos around it
void generatePtx();

void readCL3();         // without any call a point
void readCL3Virtual();  // one virtual call a point
void readIndexed();
void readIndexedNear();  // half of its points
void readIndexedVirtual();
void readCLR(const std::string& file);
void readCLRVirtual(const std::string& file);
void readCells();  // single cells of the indexed scan

void writeCL3();
void writeIndexed();
void writeCLR();

void convertCLR(const std::string& file);
void convertIndexed();
/// On as many threads as the options say.
void convertCLROnThreads(const std::string& file);
void readIndexedOnThreads();
void sortLines(const std::string& file);

/// Some 400,000 points of the whole room.
std::vector<bench::Point> pointsToColour();
void colourPoints();
void openStation();

void printPtx();
void parsePtx();

}  // namespace brisko::limits
