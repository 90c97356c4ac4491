#version 330 core

in vec2 uv;
out vec4 pixel;

uniform float time;

// As cheap as a picture can be whose every pixel is worked out anew: what surrounds the drawing
// must show.
void main() {
  float wave = sin(18.0 * uv.x + 3.0 * time) * sin(12.0 * uv.y - 2.0 * time);
  pixel = vec4(0.5 + 0.5 * wave, uv, 1.0);
}
