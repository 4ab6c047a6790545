// lumenda3d-cloud: the product's web server (accounts, projects, templates, publishing, assets,
// update feeds). Everything is in the library; see CloudCommandLine.
#include "CloudCommandLine.h"

int main(int argc, char** argv) { return Lumenda3D::Cloud::CloudCommandLine::run(argc, argv); }
