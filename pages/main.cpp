// Writes all pages into a folder.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "pages.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: moxj-pages FOLDER\n";
    return EXIT_FAILURE;
  }
  const std::filesystem::path folder = argv[1];
  std::filesystem::create_directories(folder);
  for (const auto& pages : {moxj::pages::manualPages(), moxj::pages::completions()})
    for (const moxj::pages::Page& page : pages) {
      std::ofstream file(folder / page.name, std::ios::binary);
      file << page.text;
      if (!file.flush()) {
        std::cerr << "moxj-pages: " << page.name << " cannot be written\n";
        return EXIT_FAILURE;
      }
    }
}
