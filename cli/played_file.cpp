// The facts of the file that a session plays, repaired or bare.
#include "cli/played_file.h"

#include "flv/scan.h"
#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::cli {

PlayedFile::PlayedFile(const host::SessionOptions& options) {
  if (options.view) {
    m_layout = options.view->SharedLayout();
    m_facts = m_layout->SharedFacts();
  } else {
    m_facts = flv::ScanFile(*host::OpenFile(options.file));
    if (m_facts->readFailed) throw host::HostError("cannot read the file");
  }
}

}  // namespace qbflv::cli
